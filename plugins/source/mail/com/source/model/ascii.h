#pragma once

// ASCII letters without case, whatever the locale.

#include <algorithm>
#include <string>
#include <string_view>

namespace plugins::mail_processing {

constexpr char AsciiLower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline std::string AsciiLower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) { return AsciiLower(c); });
    return lower;
}

// `lower_part` is in lower case.
inline bool ContainsNoCase(std::string_view text, std::string_view lower_part) noexcept {
    return std::search(text.begin(), text.end(), lower_part.begin(), lower_part.end(),
                       [](char a, char b) { return AsciiLower(a) == b; }) != text.end();
}

}  // namespace plugins::mail_processing
