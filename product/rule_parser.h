#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "product/rule_lexer.h"
#include "product/rules.h"

namespace reference_product {

// Parses one line of a rules file.
class RuleParser {
public:
    // Parse appends the texts that the rule searches contents for to `content_texts`.
    RuleParser(std::string_view line, std::vector<std::string>& content_texts);

    // Gives nothing for a line without a rule. Raises RuleSyntaxError.
    std::optional<Rule> Parse();

private:
    Event TakeEvent();
    Condition TakeCondition();
    Comparison TakeComparison();
    Action TakeAction();
    std::uint32_t TakeTag();
    std::string TakeText();
    std::string TakeHeaderLine();
    std::string TakeNotEmpty(std::string_view expected);

    bool SkipWord(std::string_view word);
    void Advance() { token_ = lexer_.Next(); }
    [[noreturn]] void Fail(std::string_view expected) const;

    RuleLexer lexer_;
    RuleToken token_;
    std::vector<std::string>& content_texts_;
};

}  // namespace reference_product
