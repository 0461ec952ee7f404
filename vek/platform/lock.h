#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "vek/platform/thread.h"

namespace vek::platform {

// The system's lock for a few instructions. Unlike the language's own it takes nothing from the
// system that a library which is unloaded would leave behind.
class Mutex {
public:
    Mutex() noexcept;
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() noexcept;
    void unlock() noexcept;

private:
    alignas(void*) std::byte native_[5 * sizeof(void*)];
};

// One that its owner may take again.
class RecursiveMutex {
public:
    void lock() noexcept {
        const std::uint32_t me = CurrentThreadId();
        if (owner_ != me) {
            mutex_.lock();
            owner_ = me;
        }
        ++depth_;
    }
    void unlock() noexcept {
        if (--depth_ != 0) return;
        owner_ = 0;
        mutex_.unlock();
    }

private:
    Mutex mutex_;
    std::atomic<std::uint32_t> owner_{0};  // of no thread
    std::uint32_t depth_ = 0;              // the owner's
};

// A lock that no thread keeps for good: its owner is not ended by force before it has given it up.
template <class Mutex>
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
    Mutex mutex_;
};

using Lock = ShieldedLock<Mutex>;

// A lock that its owner may take again.
using RecursiveLock = ShieldedLock<RecursiveMutex>;

}  // namespace vek::platform
