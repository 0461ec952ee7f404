#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "vek/platform/thread.h"

namespace vek::platform {

#ifdef _WIN32

// In place of std::mutex, for which the runtime library takes memory, and of the system a handle
// when threads meet: an object that is never destroyed keeps both when its module is unloaded. This
// has nothing to give back.
class Mutex {
public:
    constexpr Mutex() noexcept = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() noexcept;
    void unlock() noexcept;

private:
    void* state_ = nullptr;  // the system's SRWLOCK
};

// The same in place of std::recursive_mutex.
class RecursiveMutex {
public:
    constexpr RecursiveMutex() noexcept = default;
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;

    void lock() noexcept;
    void unlock() noexcept;

private:
    Mutex mutex_;
    std::atomic<std::uint32_t> owner_{0};  // a thread's id; no thread has 0
    std::uint32_t again_ = 0;              // how often the owner has taken it once more
};

#else

using Mutex = std::mutex;
using RecursiveMutex = std::recursive_mutex;

#endif

// A lock that no thread keeps for good: its owner is not ended by force before it has given it up.
template <class M>
class ShieldedLock {
public:
    ShieldedLock() = default;
    ShieldedLock(const ShieldedLock&) = delete;
    ShieldedLock& operator=(const ShieldedLock&) = delete;

    void lock() {
        const ForcedEndShield until_locked;
        mutex_.lock();
        ForcedEndShield::Raise();
    }
    void unlock() {
        mutex_.unlock();
        ForcedEndShield::Lower();
    }

private:
    M mutex_;
};

using Lock = ShieldedLock<Mutex>;

// A lock that its owner may take again.
using RecursiveLock = ShieldedLock<RecursiveMutex>;

}  // namespace vek::platform
