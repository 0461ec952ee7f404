#include "product/text_match.h"

#include <algorithm>
#include <cstddef>

namespace reference_product {
namespace {

constexpr auto kAlike = [](char a, char b) noexcept { return FoldAscii(a) == FoldAscii(b); };

}  // namespace

bool EqualsFolded(std::string_view text, std::string_view other) noexcept {
    return std::ranges::equal(text, other, kAlike);
}

bool ContainsFolded(std::string_view text, std::string_view part) noexcept {
    return part.empty() ||
           std::search(text.begin(), text.end(), part.begin(), part.end(), kAlike) != text.end();
}

bool MatchesWildcard(std::string_view text, std::string_view pattern) noexcept {
    std::size_t at = 0;
    std::size_t in_pattern = 0;
    // Only the last star is retried: it can take whatever an earlier one would.
    std::size_t star = std::string_view::npos;
    std::size_t star_text = 0;
    while (at < text.size()) {
        if (in_pattern < pattern.size() && pattern[in_pattern] == '*') {
            star = in_pattern++;
            star_text = at;
        } else if (in_pattern < pattern.size() &&
                   (pattern[in_pattern] == '?' || kAlike(pattern[in_pattern], text[at]))) {
            ++in_pattern;
            ++at;
        } else if (star != std::string_view::npos) {
            in_pattern = star + 1;
            at = ++star_text;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', in_pattern) == std::string_view::npos;
}

}  // namespace reference_product
