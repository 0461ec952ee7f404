#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vek {

// The eight lowercase hexadecimal digits of `number`, leading zeros included.
template <class Char>
constexpr std::array<Char, 8> HexDigits(std::uint32_t number) noexcept {
    std::array<Char, 8> digits{};
    for (std::size_t i = digits.size(); i-- > 0; number >>= 4) {
        digits[i] = static_cast<Char>("0123456789abcdef"[number & 0xF]);
    }
    return digits;
}

}  // namespace vek
