#pragma once

#include <cstdint>

#include "vek/platform/unique_resource.h"

namespace vek::platform {

// Gives back a handle of the system: a HANDLE on Windows, a descriptor elsewhere.
void CloseNativeHandle(std::intptr_t handle) noexcept;

struct NativeHandleTraits {
    using value_t = std::intptr_t;
    // INVALID_HANDLE_VALUE on Windows, what a failed open gives elsewhere.
    static constexpr value_t None() noexcept { return -1; }
    static void Close(value_t handle) noexcept { CloseNativeHandle(handle); }
};

// Owns a handle in code that is the same for all systems.
using NativeHandle = UniqueResource<NativeHandleTraits>;

}  // namespace vek::platform
