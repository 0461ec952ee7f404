#pragma once

// Comparisons of short texts, without regard to the case of ASCII letters. Other bytes are compared
// as they are, so the code page of a text does not matter to a pattern in ASCII.

#include <string_view>

namespace reference_product {

constexpr char FoldAscii(char letter) noexcept {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool EqualsFolded(std::string_view text, std::string_view other) noexcept;

bool ContainsFolded(std::string_view text, std::string_view part) noexcept;

// Matches the whole text. `*` in the pattern stands for any number of bytes, `?` for exactly one.
bool MatchesWildcard(std::string_view text, std::string_view pattern) noexcept;

}  // namespace reference_product
