#pragma once

// A subject is UTF-16, rules and reports are UTF-8.

#include <string>
#include <string_view>

namespace sandbox::product {

// An unpaired surrogate becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);

// Bytes that are no UTF-8 each become U+FFFD.
std::u16string ToUtf16(std::string_view text);

}  // namespace sandbox::product
