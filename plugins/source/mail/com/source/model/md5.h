#pragma once

// MD5, and the byte order that it and the message hash write numbers in.

#include <array>
#include <concepts>
#include <cstddef>
#include <span>

namespace plugins::mail_processing {

// Writes `value` to `out`, the lowest byte first.
template <std::unsigned_integral Number>
constexpr void StoreLittleEndian(Number value, std::span<std::byte, sizeof(Number)> out) noexcept {
    for (std::size_t i = 0; i < sizeof(Number); ++i) {
        out[i] = static_cast<std::byte>(value >> (8 * i) & 0xFF);
    }
}

// Reads a number whose lowest byte comes first.
template <std::unsigned_integral Number>
constexpr Number LoadLittleEndian(std::span<const std::byte, sizeof(Number)> in) noexcept {
    Number value = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i) {
        value |= static_cast<Number>(static_cast<Number>(in[i]) << (8 * i));
    }
    return value;
}

// The MD5 digest (RFC 1321) of `bytes`. Good for telling messages apart, not for security.
std::array<std::byte, 16> Md5(std::span<const std::byte> bytes) noexcept;

}  // namespace plugins::mail_processing
