#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace reference_product {

// Raised at the token that does not fit the form of a rule.
struct RuleSyntaxError {
    std::size_t column;
    std::string expected;
    std::string found;
};

// A token of a rule's line.
struct RuleToken {
    enum class Kind { kWord, kNumber, kText, kComma, kEnd };

    Kind kind = Kind::kEnd;
    std::size_t column = 1;
    std::string_view source;  // its part of the line
    std::string text;         // for kText, with the escapes resolved
};

// Gives the token's name in errors: quoted, shortened, in printable ASCII.
std::string Display(const RuleToken& token);

// Splits a line, which must outlive it, into tokens. A `#` outside of a text ends the line.
class RuleLexer {
public:
    explicit RuleLexer(std::string_view line) noexcept : line_(line) {}

    // Gives the next token, kEnd at the end of the line and ever after. Raises RuleSyntaxError.
    RuleToken Next();

private:
    RuleToken TakeRun(RuleToken::Kind kind, bool (*belongs)(char));
    RuleToken TakeText();
    char TakeEscape();

    std::string_view line_;
    std::size_t at_ = 0;
};

}  // namespace reference_product
