#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace reference_product {

// Raised where a rule stops making sense.
struct RuleSyntaxError {
    std::size_t column;
    std::string expected;
    std::string found;
};

struct RuleToken {
    enum class Kind { kWord, kNumber, kText, kComma, kEnd };

    Kind kind = Kind::kEnd;
    std::size_t column = 1;
    std::string_view source;  // as it is written in the line
    std::string text;         // of kText: with the escapes resolved
};

// The token as an error names it: quoted, shortened, in printable ASCII.
std::string Display(const RuleToken& token);

// Splits one line, which must outlive it, into tokens. A `#` outside of a text ends the line.
class RuleLexer {
public:
    explicit RuleLexer(std::string_view line) noexcept : line_(line) {}

    // At the end of the line, gives kEnd again and again. Raises RuleSyntaxError.
    RuleToken Next();

private:
    RuleToken TakeRun(RuleToken::Kind kind, bool (*belongs)(char));
    RuleToken TakeText();
    char TakeEscape();

    std::string_view line_;
    std::size_t at_ = 0;
};

}  // namespace reference_product
