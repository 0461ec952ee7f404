#pragma once

#include <windows.h>

#include <algorithm>
#include <chrono>

namespace vek::platform {

// A wait's limit as Windows takes it. What is too long for a DWORD is cut to the longest that is
// not INFINITE.
inline DWORD ToTimeOut(std::chrono::milliseconds timeout) noexcept {
    if (timeout.count() < 0) return INFINITE;
    return static_cast<DWORD>(
        std::min<std::chrono::milliseconds::rep>(timeout.count(), INFINITE - 1));
}

}  // namespace vek::platform
