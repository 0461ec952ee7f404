#pragma once

// The seam to those system calls whose failure has consequences that callers promise: a test
// passes a System that fails on demand. Any thread may call the operations.

#include <functional>

#include "vek/platform/event.h"
#include "vek/platform/thread.h"

namespace vek::platform {

// Events and threads.
class System {
public:
    virtual ~System() = default;

    // Creates an unnamed event, not signalled. On failure gives null; LastError() says why.
    virtual std::unique_ptr<Event> NewEvent(EventKind kind) = 0;

    // Waits until one of `events` (one to kMaxWaitEvents, created by this System) is signalled.
    // When several are, the first in order ends the wait and only its signal is taken.
    virtual WaitResult WaitAny(std::span<Event* const> events,
                               std::chrono::milliseconds timeout) noexcept = 0;

    // Starts a thread that runs `body`, which must not let an exception out. On failure `body`
    // is destroyed and null is given; LastError() says why.
    virtual std::unique_ptr<Thread> StartThread(std::function<void()> body) = 0;
};

// As StartThread, for a thread that nobody waits for: until `body` has run and is gone, the thread
// counts among the module's live objects (vek/core/object.h), so that the module stays. May raise.
std::unique_ptr<Thread> StartCountedThread(System& system, std::function<void()> body);

// The operating system itself.
System& TheSystem() noexcept;

}  // namespace vek::platform
