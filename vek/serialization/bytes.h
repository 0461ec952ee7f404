#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <span>

namespace vek::serialization {

using bytes_t = std::span<const std::byte>;

// Written in its own width. A bool is none: its byte is checked when it is read.
template <class T>
concept Number = std::integral<T> && !std::same_as<T, bool>;

// Numbers are copied between memory and the wire as they are.
static_assert(std::endian::native == std::endian::little);

}  // namespace vek::serialization
