#include "product/rule_parser.h"

#include <charconv>
#include <span>
#include <utility>

namespace reference_product {
namespace {

template <class Value>
struct Word {
    std::string_view word;
    Value value;
};

constexpr Word<Field> kFields[] = {{"sender", Field::kSender},
                                   {"subject", Field::kSubject},
                                   {"header", Field::kHeader},
                                   {"body", Field::kBody},
                                   {"body-find", Field::kBodyFind},
                                   {"attachment-name", Field::kAttachmentName},
                                   {"attachment-type", Field::kAttachmentType},
                                   {"attachment-contains", Field::kAttachmentContent},
                                   {"attachment-find", Field::kAttachmentFind}};

constexpr Word<Comparison> kComparisons[] = {{"contains", Comparison::kContains},
                                             {"is", Comparison::kIs},
                                             {"matches", Comparison::kMatches}};

constexpr Word<ActionKind> kActions[] = {{"set-subject", ActionKind::kSetSubject},
                                         {"set-property", ActionKind::kSetProperty},
                                         {"set-header", ActionKind::kSetHeader},
                                         {"add-header", ActionKind::kAddHeader},
                                         {"append-notice", ActionKind::kAppendNotice},
                                         {"rename-attachment", ActionKind::kRenameAttachment},
                                         {"delete-attachment", ActionKind::kDeleteAttachment},
                                         {"replace-attachment", ActionKind::kReplaceAttachment}};

template <class Value>
std::optional<Value> Find(std::span<const Word<Value>> words, const RuleToken& token) {
    if (token.kind != RuleToken::Kind::kWord) return std::nullopt;
    for (const auto& entry : words) {
        if (entry.word == token.source) return entry.value;
    }
    return std::nullopt;
}

template <class Value>
std::string OneOf(std::span<const Word<Value>> words) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (i != 0) text += i + 1 == words.size() ? " or " : ", ";
        text.append("'").append(words[i].word).append("'");
    }
    return text;
}

}  // namespace

RuleParser::RuleParser(std::string_view line, std::vector<std::string>& content_texts)
    : lexer_(line), content_texts_(content_texts) {}

std::optional<Rule> RuleParser::Parse() {
    Advance();
    if (token_.kind == RuleToken::Kind::kEnd) return std::nullopt;
    if (!SkipWord("when")) Fail("'when'");
    Rule rule;
    rule.event = TakeEvent();
    if (SkipWord("any")) {
        if (!SkipWord("do")) Fail("'do'");
    } else {
        do rule.conditions.push_back(TakeCondition());
        while (SkipWord("and"));
        if (!SkipWord("do")) Fail("'and' or 'do'");
    }
    for (;;) {
        rule.actions.push_back(TakeAction());
        if (token_.kind == RuleToken::Kind::kEnd) return rule;
        if (token_.kind != RuleToken::Kind::kComma) Fail("',' or the end of the line");
        Advance();
    }
}

Event RuleParser::TakeEvent() {
    if (SkipWord("incoming")) return Event::kIncoming;
    if (SkipWord("outgoing")) return Event::kOutgoing;
    return Event::kBoth;
}

Condition RuleParser::TakeCondition() {
    Condition condition;
    condition.negated = SkipWord("not");
    const auto field = Find<Field>(kFields, token_);
    if (!field) Fail((condition.negated ? "" : "'not', 'any', ") + OneOf<Field>(kFields));
    Advance();
    condition.field = *field;
    if (*field == Field::kBody) {
        // A body passes in pieces, so there is never a whole text to compare.
        if (!SkipWord("contains")) Fail("'contains'");
    } else if (*field != Field::kAttachmentContent) {
        condition.comparison = TakeComparison();
    }
    condition.text = condition.comparison == Comparison::kContains
                         ? TakeNotEmpty("a text to look for, in quotes")
                         : TakeText();
    if (*field == Field::kBody || *field == Field::kAttachmentContent) {
        condition.content_text = content_texts_.size();
        content_texts_.push_back(condition.text);
    }
    return condition;
}

Comparison RuleParser::TakeComparison() {
    const auto comparison = Find<Comparison>(kComparisons, token_);
    if (!comparison) Fail(OneOf<Comparison>(kComparisons));
    Advance();
    return *comparison;
}

Action RuleParser::TakeAction() {
    const auto kind = Find<ActionKind>(kActions, token_);
    if (!kind) Fail(OneOf<ActionKind>(kActions));
    Advance();
    Action action{.kind = *kind, .tag = 0, .text = {}};
    switch (*kind) {
        case ActionKind::kSetProperty:
            action.tag = TakeTag();
            action.text = TakeText();
            break;
        case ActionKind::kSetHeader:
        case ActionKind::kAddHeader:
            action.text = TakeHeaderLine();
            break;
        case ActionKind::kAppendNotice:
            action.text = TakeNotEmpty("the notice, in quotes");
            break;
        case ActionKind::kRenameAttachment:
            action.text = TakeNotEmpty("the new name, in quotes");
            break;
        case ActionKind::kSetSubject:
        case ActionKind::kReplaceAttachment:
            action.text = TakeText();
            break;
        case ActionKind::kDeleteAttachment:
            break;
    }
    return action;
}

std::uint32_t RuleParser::TakeTag() {
    constexpr std::uint32_t kNarrowString = 0x001E;  // PT_STRING8, mapidefs.h
    const std::string_view source = token_.source;
    std::uint32_t tag = 0;
    if (token_.kind == RuleToken::Kind::kNumber && source.starts_with("0x")) {
        const char* end = source.data() + source.size();
        const auto [stop, error] = std::from_chars(source.data() + 2, end, tag, 16);
        if (error != std::errc() || stop != end) tag = 0;
    }
    if ((tag & 0xFFFFu) != kNarrowString) Fail("the tag of a narrow string, like 0x3FFF001E");
    Advance();
    return tag;
}

std::string RuleParser::TakeText() {
    if (token_.kind != RuleToken::Kind::kText) Fail("a text in quotes");
    std::string text = std::move(token_.text);
    Advance();
    return text;
}

std::string RuleParser::TakeHeaderLine() {
    const std::size_t colon = token_.text.find(':');
    if (colon == std::string::npos || colon == 0 ||
        token_.text.find_first_of("\r\n") != std::string::npos) {
        Fail(R"(one header line, like "Name: value")");
    }
    return TakeText();
}

std::string RuleParser::TakeNotEmpty(std::string_view expected) {
    if (token_.kind != RuleToken::Kind::kText || token_.text.empty()) Fail(expected);
    return TakeText();
}

bool RuleParser::SkipWord(std::string_view word) {
    if (token_.kind != RuleToken::Kind::kWord || token_.source != word) return false;
    Advance();
    return true;
}

void RuleParser::Fail(std::string_view expected) const {
    throw RuleSyntaxError{token_.column, std::string(expected), Display(token_)};
}

}  // namespace reference_product
