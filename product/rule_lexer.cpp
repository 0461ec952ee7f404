#include "product/rule_lexer.h"

#include "product/text_form.h"

namespace reference_product {
namespace {

constexpr std::size_t kLongestDisplay = 40;

bool IsBlank(char letter) { return letter == ' ' || letter == '\t' || letter == '\r'; }

bool IsWordLetter(char letter) { return (letter >= 'a' && letter <= 'z') || letter == '-'; }

bool IsNumberLetter(char letter) {
    return IsDigit(letter) || (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
}

std::string Quoted(std::string_view source) {
    std::string text = "'";
    for (const char letter : source.substr(0, kLongestDisplay)) {
        text += letter >= ' ' && letter <= '~' ? letter : '?';
    }
    if (source.size() > kLongestDisplay) text += "...";
    return text += '\'';
}

}  // namespace

std::string Display(const RuleToken& token) {
    return token.kind == RuleToken::Kind::kEnd ? "the end of the line" : Quoted(token.source);
}

RuleToken RuleLexer::Next() {
    while (at_ < line_.size() && IsBlank(line_[at_])) ++at_;
    if (at_ == line_.size() || line_[at_] == '#') {
        return {.kind = RuleToken::Kind::kEnd, .column = at_ + 1, .source = {}, .text = {}};
    }
    const char first = line_[at_];
    if (first == '"') return TakeText();
    if (IsDigit(first)) return TakeRun(RuleToken::Kind::kNumber, IsNumberLetter);
    if (IsWordLetter(first)) return TakeRun(RuleToken::Kind::kWord, IsWordLetter);
    if (first == ',') {
        ++at_;
        return {.kind = RuleToken::Kind::kComma,
                .column = at_,
                .source = line_.substr(at_ - 1, 1),
                .text = {}};
    }
    throw RuleSyntaxError{at_ + 1, "a word, a text in quotes, a number or ','",
                          Quoted(line_.substr(at_, 1))};
}

RuleToken RuleLexer::TakeRun(RuleToken::Kind kind, bool (*belongs)(char)) {
    const std::size_t start = at_;
    while (at_ < line_.size() && belongs(line_[at_])) ++at_;
    return {
        .kind = kind, .column = start + 1, .source = line_.substr(start, at_ - start), .text = {}};
}

RuleToken RuleLexer::TakeText() {
    const std::size_t start = at_++;
    RuleToken token{.kind = RuleToken::Kind::kText, .column = start + 1, .source = {}, .text = {}};
    while (at_ < line_.size() && line_[at_] != '"') {
        token.text += line_[at_] == '\\' ? TakeEscape() : line_[at_];
        ++at_;
    }
    if (at_ == line_.size()) {
        throw RuleSyntaxError{at_ + 1, "a closing quote", "the end of the line"};
    }
    ++at_;
    token.source = line_.substr(start, at_ - start);
    return token;
}

char RuleLexer::TakeEscape() {
    ++at_;
    switch (at_ < line_.size() ? line_[at_] : '\0') {
        case '"':
            return '"';
        case '\\':
            return '\\';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            throw RuleSyntaxError{at_, R"(one of \" \\ \n \r \t)",
                                  Quoted(line_.substr(at_ - 1, 2))};
    }
}

}  // namespace reference_product
