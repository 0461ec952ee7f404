#pragma once

// Events and waiting on several of them.

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>

#include "vek/platform/system_error.h"

namespace vek::platform {

enum class EventKind {
    kAutoReset,    // a wait that it ends takes the signal away
    kManualReset,  // stays signalled until reset
};

// Something a thread can wait on. Operations may be called from any thread.
class Event {
public:
    virtual ~Event() = default;

    // Signals the event, or takes the signal away. Each gives kNone or the error, which is also the
    // thread's LastError().
    virtual system_error_t Set() noexcept = 0;
    virtual system_error_t Reset() noexcept = 0;

    // The system's handle: a HANDLE on Windows, a descriptor elsewhere.
    virtual std::intptr_t handle() const noexcept = 0;
};

// No limit to a wait.
inline constexpr std::chrono::milliseconds kInfinite{-1};

// The most events that one wait takes (MAXIMUM_WAIT_OBJECTS of winnt.h).
inline constexpr std::size_t kMaxWaitEvents = 64;

enum class WaitStatus {
    kSignalled,
    kTimeout,
    kAbandoned,  // the thread that owned what was waited on has died
    kFailed,     // LastError() says why
};

struct WaitResult {
    WaitStatus status;
    std::size_t index;  // which event ended the wait, when signalled
};

}  // namespace vek::platform
