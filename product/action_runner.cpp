#include "product/action_runner.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "product/text_form.h"
#include "vek/core/text.h"

namespace reference_product {
namespace {

constexpr std::u16string_view kSubjectPlaceholder = u"{subject}";
constexpr std::string_view kNamePlaceholder = "{name}";

std::string TagText(std::uint32_t tag) {
    char text[11];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(tag));
    return text;
}

std::string RuleText(const Rule& rule) { return "the rule in line " + std::to_string(rule.line); }

// Each name once.
std::string Joined(const std::vector<std::string>& finds) {
    std::string text;
    for (auto find = finds.begin(); find != finds.end(); ++find) {
        if (std::find(finds.begin(), find, *find) == find)
            text += (text.empty() ? "" : ", ") + *find;
    }
    return text;
}

using Fate = DangerousAttachment::Fate;

// Ends the keeping of a content that was replaced already.
struct IsReplaced {};

}  // namespace

ActionRunner::ActionRunner(plugins::mail_processing::IMailMessage& message, MessageFacts& facts,
                           ContentReader& contents, CallbackLog& log, const KeptFor& kept,
                           const NoticeSource& texts)
    : message_(message),
      facts_(facts),
      contents_(contents),
      log_(log),
      kept_(kept),
      texts_source_(texts),
      attachments_(facts.attachments.size()) {}

void ActionRunner::Add(const RuleMatch& match) {
    for (const Condition& condition : match.rule->conditions) {
        if (condition.negated) continue;
        if (condition.field == Field::kBodyFind) has_rule_on_body_finds_ = true;
        if (condition.field != Field::kAttachmentFind) continue;
        for (const std::size_t i : match.attachments) attachments_[i].has_rule_on_finds = true;
    }
    for (const Action& action : match.rule->actions) AddOne(action, match);
}

void ActionRunner::AddDefaults() {
    if (!has_rule_on_body_finds_) body_find_ = Joined(facts_.body_finds);
    infected_ = !body_find_.empty();
    for (std::size_t i = 0; i < attachments_.size(); ++i) {
        AttachmentPlan& plan = attachments_[i];
        const std::vector<std::string>& finds = facts_.attachments[i].finds;
        if (finds.empty() || plan.has_rule_on_finds) continue;
        infected_ = plan.is_infected = true;
        plan.reason = Joined(finds);
    }
    if (infected_ && texts_source_) texts_ = texts_source_();
    for (AttachmentPlan& plan : attachments_)
        if (plan.is_infected) plan.content = FindReplacement(texts_, plan.reason);
}

void ActionRunner::AddOne(const Action& action, const RuleMatch& match) {
    switch (action.kind) {
        case ActionKind::kSetSubject:
            subject_forms_.push_back(vek::ToUtf16(action.text));
            break;
        case ActionKind::kSetProperty:
        case ActionKind::kSetHeader:
        case ActionKind::kAddHeader:
            plain_actions_.push_back(&action);
            break;
        case ActionKind::kAppendNotice:
            AddNotice(action.text);
            break;
        case ActionKind::kRenameAttachment:
            for (const std::size_t i : match.attachments) {
                attachments_[i].name_forms.push_back(action.text);
            }
            break;
        case ActionKind::kDeleteAttachment:
            for (const std::size_t i : match.attachments) {
                attachments_[i].remove = true;
                attachments_[i].reason = RuleText(*match.rule);
            }
            break;
        case ActionKind::kReplaceAttachment:
            for (const std::size_t i : match.attachments) {
                attachments_[i].content = action.text;
                attachments_[i].reason = RuleText(*match.rule);
            }
            break;
    }
}

void ActionRunner::AddNotice(std::string_view notice) {
    if (std::ranges::find(notices_, notice) == notices_.end()) notices_.push_back(notice);
}

void ActionRunner::Run() {
    RunSubject();
    for (const Action* action : plain_actions_) RunHeader(*action);
    for (std::size_t i = 0; i < attachments_.size(); ++i) RunAttachment(i);
    for (const std::string_view notice : notices_) RunNotice(WithReferences(notice));
    const std::string notice = FindNotice(texts_, body_find_, std::move(dangerous_));
    if (!notice.empty()) RunNotice(notice);
}

void ActionRunner::RunSubject() {
    // A subject that could not be read must not be overwritten.
    if (!facts_.subject_known) return;
    std::u16string_view old = facts_.subject;
    const bool marked = old.starts_with(kInfectedPrefix);
    if (marked) old.remove_prefix(kInfectedPrefix.size());
    std::u16string subject = Refill<char16_t>(subject_forms_, kSubjectPlaceholder, old);
    if (marked || infected_) subject.insert(0, kInfectedPrefix);
    if (subject == facts_.subject) return;
    if (log_.Change({}, "SetSubject", message_.SetSubject(subject))) {
        log_.Changed("subject \"" + vek::ToUtf8(subject) + '"');
    }
}

void ActionRunner::RunHeader(const Action& action) {
    if (action.kind == ActionKind::kSetProperty) {
        if (log_.Change({}, "SetProperty", message_.SetProperty(action.tag, action.text))) {
            log_.Changed("property " + TagText(action.tag) + " \"" + action.text + '"');
        }
    } else if (action.kind == ActionKind::kSetHeader) {
        // SetHeader appends the line as it is given, so it needs its own end.
        if (log_.Change({}, "SetHeader", message_.SetHeader(action.text + "\r\n"))) {
            log_.Changed("header \"" + action.text + '"');
        }
    } else if (facts_.headers_known &&  // or it may be there
               std::ranges::find(facts_.header_lines, action.text) == facts_.header_lines.end()) {
        if (log_.Change({}, "AddHeader", message_.AddHeader(action.text))) {
            log_.Changed("new header \"" + action.text + '"');
        }
    }
}

void ActionRunner::RunNotice(std::string_view notice) {
    std::uint32_t outcome = 0;
    if (!log_.Change({}, "AppendNotice", message_.AppendNotice(notice, outcome))) return;
    if (outcome != 0) {
        log_.Failed({}, "AppendNotice (the message may not be changed)", vek::result::kFalse);
    } else if (!facts_.has_html_body) {
        // The notice goes into the HTML body first; without one the plain body is left alone.
        log_.Failed({}, "AppendNotice (there is no HTML body)", vek::result::kFalse);
    } else {
        log_.Changed("notice \"" + std::string(notice) + '"');
    }
}

// Keeps the content that a plan takes away, and gives its number, 0 when nothing is kept. Nothing
// when it must stay, or is the new one already: a message is checked each time it is read, and what
// was put there is not to be kept.
std::optional<std::uint32_t> ActionRunner::Keep(AttachmentFacts& attachment,
                                                const AttachmentPlan& plan) {
    if (!kept_.store) return 0;
    const std::string name = attachment.names.empty() ? std::string() : attachment.names.front();
    const auto read = [&](const KeptStore::Sink& sink) {
        bool is_same = !plan.remove;
        std::string_view left = plan.content ? *plan.content : std::string_view();
        const std::string_view why_not_all = contents_.Read(
            *attachment.provider, attachment.label, [&](std::span<const std::byte> piece) {
                const std::string_view bytes(reinterpret_cast<const char*>(piece.data()),
                                             piece.size());
                is_same = is_same && left.starts_with(bytes);
                if (is_same) left.remove_prefix(bytes.size());
                sink(piece);
            });
        if (!why_not_all.empty()) throw std::runtime_error(std::string(why_not_all));
        if (is_same && left.empty()) throw IsReplaced();
    };
    try {
        return kept_.store->Keep({.account = kept_.account,
                                  .subject = vek::ToUtf8(facts_.subject),
                                  .name = name,
                                  .reason = plan.reason},
                                 read);
    } catch (const IsReplaced&) {
        return std::nullopt;
    } catch (const std::runtime_error& error) {
        log_.Failed(attachment.label, std::string("Keep, so it stays (") + error.what() + ')',
                    vek::result::kUnspecifiedError);
        return std::nullopt;
    }
}

bool ActionRunner::Delete(AttachmentFacts& attachment) {
    return log_.Change(attachment.label, "Delete", attachment.provider->Delete());
}

// Does what the plan says; what is infected goes in the other way when that fails. When the
// connection is lost meanwhile it may be gone, so it stays kept.
Fate ActionRunner::TakeAway(AttachmentFacts& attachment, const AttachmentPlan& plan) {
    const std::string& label = attachment.label;
    const std::optional<std::uint32_t> kept = Keep(attachment, plan);
    if (!kept) return Fate::kLeft;
    const std::size_t failures = log_.failures();
    bool removes = plan.remove;
    for (int way = 0; way < (plan.is_infected ? 2 : 1); ++way, removes = !removes) {
        const bool is_gone = removes
                                 ? Delete(attachment)
                                 : contents_.Replace(*attachment.provider, label, *plan.content);
        if (!is_gone && log_.IsInDoubt(failures)) return Fate::kLeft;
        if (!is_gone) continue;
        log_.Forgive(failures);
        const std::string_view why = way == 0  ? ""
                                     : removes ? ", as it cannot be replaced"
                                               : ", as it cannot be deleted";
        log_.Changed((label + (removes ? " deleted" : " replaced")).append(why));
        return removes ? Fate::kDeleted : Fate::kReplaced;
    }
    // A message that cannot be changed is kept no further with each check.
    if (*kept != 0) kept_.store->Remove(*kept);
    return Fate::kLeft;
}

void ActionRunner::RunAttachment(std::size_t number) {
    AttachmentFacts& attachment = facts_.attachments[number];
    const AttachmentPlan& plan = attachments_[number];
    const Fate fate = plan.remove || plan.content ? TakeAway(attachment, plan) : Fate::kLeft;
    const std::string old = attachment.names.empty() ? std::string() : attachment.names.front();
    if (!attachment.finds.empty() && fate == Fate::kLeft) log_.Left(attachment.label);
    if (plan.is_infected)
        dangerous_.push_back({old.empty() ? attachment.label : old, plan.reason, fate});
    if (plan.remove || fate == Fate::kDeleted) return;
    const std::string name = Refill<char>(plan.name_forms, kNamePlaceholder, old);
    if (name != old && log_.Change(attachment.label, "Rename", attachment.provider->Rename(name))) {
        log_.Changed(attachment.label + " renamed to \"" + name + '"');
    }
}

}  // namespace reference_product
