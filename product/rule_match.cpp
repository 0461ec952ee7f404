#include "product/rule_match.h"

#include <algorithm>
#include <utility>

#include "product/text_match.h"
#include "vek/core/text.h"

namespace reference_product {
namespace {

bool Meets(const Condition& condition, std::string_view text) {
    switch (condition.comparison) {
        case Comparison::kContains:
            return ContainsFolded(text, condition.text);
        case Comparison::kIs:
            return EqualsFolded(text, condition.text);
        case Comparison::kMatches:
            return MatchesWildcard(text, condition.text);
    }
    return false;
}

bool MeetsAny(const Condition& condition, const std::vector<std::string>& texts) {
    return std::ranges::any_of(texts, [&](const auto& text) { return Meets(condition, text); });
}

// Judges conditions on one message, those on attachments by `attachment`.
struct Judge {
    const MessageFacts& facts;
    const std::string& subject;
    const AttachmentFacts* attachment = nullptr;

    bool Holds(const Condition& condition) const { return IsTrue(condition) != condition.negated; }

private:
    bool IsTrue(const Condition& condition) const {
        switch (condition.field) {
            case Field::kSender:
                return MeetsAny(condition, facts.senders);
            case Field::kSubject:
                return Meets(condition, subject);
            case Field::kHeader:
                return MeetsAny(condition, facts.header_lines);
            case Field::kBody:
                return !facts.bodies.texts.empty() && facts.bodies.texts[condition.content_text];
            case Field::kBodyFind:
                return MeetsAny(condition, facts.body_finds);
            case Field::kAttachmentName:
                return MeetsAny(condition, attachment->names);
            case Field::kAttachmentType:
                return Meets(condition, attachment->type);
            case Field::kAttachmentContent:
                return attachment->hits.texts[condition.content_text];
            case Field::kAttachmentFind:
                return MeetsAny(condition, attachment->finds);
        }
        return false;
    }
};

bool IsFor(Event event, bool incoming) {
    return event == Event::kBoth || (event == Event::kIncoming) == incoming;
}

bool Applies(const Rule& rule, const MessageFacts& facts, const std::string& subject,
             std::vector<std::size_t>& attachments) {
    const Judge message{facts, subject};
    bool on_attachments = false;
    for (const Condition& condition : rule.conditions) {
        if (condition.OnAttachment()) {
            on_attachments = true;
        } else if (!message.Holds(condition)) {
            return false;
        }
    }
    for (std::size_t i = 0; i < facts.attachments.size(); ++i) {
        const Judge judge{facts, subject, &facts.attachments[i]};
        const bool meets = std::ranges::all_of(rule.conditions, [&](const Condition& condition) {
            return !condition.OnAttachment() || judge.Holds(condition);
        });
        if (meets) attachments.push_back(i);
    }
    return !on_attachments || !attachments.empty();
}

}  // namespace

std::vector<RuleMatch> MatchRules(const RuleSet& rules, bool incoming, const MessageFacts& facts) {
    const std::string subject = vek::ToUtf8(facts.subject);
    std::vector<RuleMatch> matches;
    for (const Rule& rule : rules.rules) {
        if (!IsFor(rule.event, incoming)) continue;
        RuleMatch match{.rule = &rule, .attachments = {}};
        if (Applies(rule, facts, subject, match.attachments)) matches.push_back(std::move(match));
    }
    return matches;
}

}  // namespace reference_product
