#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace remote {

// The 64-bit FNV-1a hash, its offset basis and prime as published by its authors (Fowler, Noll,
// Vo). Bytes in several ranges: the hash of the first is the basis of the next.
inline constexpr std::uint64_t kFnvOffsetBasis = 0xCBF29CE484222325;
inline constexpr std::uint64_t kFnvPrime = 0x100000001B3;

constexpr std::uint64_t Fnv1a(std::span<const std::byte> bytes,
                              std::uint64_t basis = kFnvOffsetBasis) noexcept {
    std::uint64_t hash = basis;
    for (const std::byte byte : bytes) {
        hash ^= std::to_integer<std::uint64_t>(byte);
        hash *= kFnvPrime;
    }
    return hash;
}

}  // namespace remote
