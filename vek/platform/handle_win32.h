#pragma once

// Kernel objects: who owns their handles, and how long they are waited for.

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "vek/platform/unique_resource.h"

namespace vek::platform {

struct HandleTraits {
    using value_t = HANDLE;
    static value_t None() noexcept { return nullptr; }
    static void Close(value_t handle) noexcept { ::CloseHandle(handle); }
};

// Owns a kernel object's handle.
using UniqueHandle = UniqueResource<HandleTraits>;

struct LocalMemoryFree {
    void operator()(void* memory) const noexcept { ::LocalFree(memory); }
};

// Owns memory that the system has allocated for its caller to free.
template <class Content>
using UniqueLocal = std::unique_ptr<Content, LocalMemoryFree>;

// A wait's limit in the form that Windows takes; negative is INFINITE. A limit that is too long
// for a DWORD is cut to the longest that is not INFINITE.
inline DWORD ToTimeOut(std::chrono::milliseconds timeout) noexcept {
    if (timeout.count() < 0) return INFINITE;
    return static_cast<DWORD>(
        std::min<std::chrono::milliseconds::rep>(timeout.count(), INFINITE - 1));
}

}  // namespace vek::platform
