#pragma once

#include <cstdint>

namespace sandbox::demo {

// How many bytes of this process are in memory; 0 when the system does not tell.
std::uint64_t ResidentMemory();

}  // namespace sandbox::demo
