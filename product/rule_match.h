#pragma once

#include <cstddef>
#include <vector>

#include "product/message_facts.h"
#include "product/rules.h"

namespace reference_product {

// A rule that applies to a message.
struct RuleMatch {
    const Rule* rule = nullptr;
    // The indices of the attachments that its attachment actions change: those that meet all of its
    // attachment conditions; all attachments for a rule without such conditions.
    std::vector<std::size_t> attachments;
};

// Gives the rules that apply, in their order. The result points into `rules`.
std::vector<RuleMatch> MatchRules(const RuleSet& rules, bool incoming, const MessageFacts& facts);

}  // namespace reference_product
