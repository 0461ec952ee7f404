#include <windows.h>

#include "vek/platform/lock.h"

namespace vek::platform {
namespace {

PSRWLOCK ToSystem(void** state) noexcept {
    static_assert(sizeof(SRWLOCK) == sizeof *state && alignof(SRWLOCK) == alignof(void*));
    return reinterpret_cast<PSRWLOCK>(state);
}

}  // namespace

// The system's queue is on the stacks of those who wait: a thread that is ended by force while it
// waits, which its shield puts off by kForcedEndPatience, may take the next owners with it.
void Mutex::lock() noexcept { ::AcquireSRWLockExclusive(ToSystem(&state_)); }

void Mutex::unlock() noexcept { ::ReleaseSRWLockExclusive(ToSystem(&state_)); }

// Only the owner finds its own id there.
void RecursiveMutex::lock() noexcept {
    const std::uint32_t self = ::GetCurrentThreadId();
    if (owner_.load(std::memory_order_relaxed) == self) {
        ++again_;
        return;
    }
    mutex_.lock();
    owner_.store(self, std::memory_order_relaxed);
}

void RecursiveMutex::unlock() noexcept {
    if (again_ != 0) {
        --again_;
        return;
    }
    owner_.store(0, std::memory_order_relaxed);
    mutex_.unlock();
}

}  // namespace vek::platform
