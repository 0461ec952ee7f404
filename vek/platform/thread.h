#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "vek/platform/event.h"

namespace vek::platform {

// A running or ended thread. Destroying the object gives the handle back and lets a thread that
// still runs go on: an owner that must outlive its thread waits first. Any thread may call the
// operations.
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

// The system's ids of the caller.
std::uint32_t CurrentThreadId() noexcept;
std::uint32_t CurrentProcessId() noexcept;

}  // namespace vek::platform
