#pragma once

#include <bit>
#include <cstddef>
#include <span>

namespace vek::serialization {

using bytes_t = std::span<const std::byte>;

// Numbers are copied between memory and the wire as they are.
static_assert(std::endian::native == std::endian::little);

}  // namespace vek::serialization
