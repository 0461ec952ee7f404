#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace plugins::mail_processing {

// `text` with the letters A to Z in lower case, whatever the locale.
inline std::string AsciiLower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return lower;
}

}  // namespace plugins::mail_processing
