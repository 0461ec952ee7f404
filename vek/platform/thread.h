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

    // Ends the thread where it stands, at the latest a moment later. Nothing of it is unwound and
    // what it owned leaks: the last resort at shutdown. A thread under a ForcedEndShield is ended
    // behind it; on Windows within it, when it has not left it for kForcedEndPatience. Whatever
    // else it locked, of the system's libraries and the heap too, stays locked: the caller sees to
    // it that the thread rests. kNone or why it failed.
    virtual system_error_t Terminate() noexcept = 0;

    virtual std::uint32_t id() const noexcept = 0;
};

// How long Terminate waits for a thread to leave its shields.
inline constexpr std::chrono::milliseconds kForcedEndPatience{500};

// While one lives, its thread is not ended by force: it holds what others wait for. Meant for
// short work; nothing in it calls out or waits, but for such locks. May be nested. Does nothing on
// a thread that no System has started. Keeps LastError().
class ForcedEndShield {
public:
    ForcedEndShield() noexcept { Raise(); }
    ~ForcedEndShield() { Lower(); }
    ForcedEndShield(const ForcedEndShield&) = delete;
    ForcedEndShield& operator=(const ForcedEndShield&) = delete;

    // For what begins in one function and ends in another, on one thread.
    static void Raise() noexcept;
    static void Lower() noexcept;
};

// The system's ids of the caller.
std::uint32_t CurrentThreadId() noexcept;
std::uint32_t CurrentProcessId() noexcept;

}  // namespace vek::platform
