#pragma once

#include <cstddef>
#include <vector>

#include "product/message_facts.h"
#include "product/rules.h"

namespace reference_product {

// A rule that applies to a message.
struct RuleMatch {
    const Rule* rule = nullptr;
    // The attachments that its attachment actions are for, by index: those that meet all of its
    // attachment conditions, or all attachments if it has none.
    std::vector<std::size_t> attachments;
};

// In the order of the rules. The result points into `rules`.
std::vector<RuleMatch> MatchRules(const RuleSet& rules, bool incoming, const MessageFacts& facts);

}  // namespace reference_product
