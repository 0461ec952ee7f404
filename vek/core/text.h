#pragma once

// Conversions between the two text forms inside, UTF-8 (std::string) and UTF-16 (char16_t), and
// numbers as hexadecimal text. Functions may be called from any thread and raise only for want of
// memory.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vek {

// Appends `text` as UTF-8. Surrogate pairs are combined; an unpaired surrogate is written as the
// single unit (its three-byte form), so nothing is lost and nothing fails.
void AppendUtf8(std::string& out, std::u16string_view text);

// Converts as AppendUtf8 does.
std::string ToUtf8(std::u16string_view text);

// Gives nothing for a text with an unpaired surrogate, else what ToUtf8 gives.
std::optional<std::string> ToUtf8Strict(std::u16string_view text);

// Each malformed byte becomes U+FFFD.
std::u16string ToUtf16(std::string_view text);

// Gives how many units at the start of `text` are ASCII.
std::size_t AsciiRun(std::string_view text) noexcept;
std::size_t AsciiRun(std::u16string_view text) noexcept;

// A code point, and how many units of the text it was read from.
struct Decoded {
    char32_t code_point;
    std::size_t length;
};

// Decodes the start of `text`, which is not empty. Whatever is not the one well-formed sequence of
// a code point is one malformed byte: U+FFFD of length 1.
Decoded DecodeUtf8(std::string_view text) noexcept;

// Whether a terminal may take it for a command, or for the end of a line, or show what follows in
// another order: controls, separators and marks of direction.
bool IsControl(char32_t code_point) noexcept;

// Gives the eight lowercase hexadecimal digits of `number`, leading zeros included.
template <class Char>
constexpr std::array<Char, 8> HexDigits(std::uint32_t number) noexcept {
    std::array<Char, 8> digits{};
    for (std::size_t i = digits.size(); i-- > 0; number >>= 4) {
        digits[i] = static_cast<Char>("0123456789abcdef"[number & 0xF]);
    }
    return digits;
}

}  // namespace vek
