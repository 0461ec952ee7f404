#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "vek/platform/event.h"

namespace vek::platform {

// A running or ended thread. Destroying it lets a thread that still runs go on by itself and
// gives the handle back: owners that must outlive their thread wait first.
class Thread {
public:
    virtual ~Thread() = default;

    // Waits for the thread to end: kSignalled, kTimeout or kFailed. May be called again.
    virtual WaitStatus Wait(std::chrono::milliseconds timeout) noexcept = 0;

    // Ends the thread where it stands. Nothing of it is unwound, what it owned leaks and what it
    // locked stays locked: the last resort at shutdown. kNone or why it failed.
    virtual system_error_t Terminate() noexcept = 0;

    virtual std::uint32_t id() const noexcept = 0;
};

std::uint32_t CurrentThreadId() noexcept;
std::uint32_t CurrentProcessId() noexcept;

}  // namespace vek::platform
