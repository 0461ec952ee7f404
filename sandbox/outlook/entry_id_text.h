#pragma once

#include <string>
#include <string_view>

namespace sandbox::outlook {

// The bytes of an entry id as the object model writes them: upper-case hexadecimal digits.
inline std::u16string EntryIdText(std::string_view bytes) {
    constexpr std::u16string_view kDigits = u"0123456789ABCDEF";
    std::u16string digits;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        digits += kDigits[value >> 4];
        digits += kDigits[value & 0xF];
    }
    return digits;
}

}  // namespace sandbox::outlook
