#pragma once

#include <cstdint>

namespace vek::platform {

// Gives back a handle of the system: a HANDLE on Windows, a descriptor elsewhere.
void CloseNativeHandle(std::intptr_t handle) noexcept;

}  // namespace vek::platform
