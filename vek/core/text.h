#pragma once

// Conversions between the two text forms inside: UTF-8 (std::string) and UTF-16 (char16_t).

#include <optional>
#include <string>
#include <string_view>

namespace vek {

// Appends `text` as UTF-8. Surrogate pairs are combined; an unpaired surrogate is written as the
// single unit (its three-byte form), so nothing is lost and nothing fails.
void AppendUtf8(std::string& out, std::u16string_view text);

std::string ToUtf8(std::u16string_view text);

// As ToUtf8, but nothing for a text with an unpaired surrogate.
std::optional<std::string> ToUtf8Strict(std::u16string_view text);

// Malformed bytes each become U+FFFD.
std::u16string ToUtf16(std::string_view text);

}  // namespace vek
