#pragma once

#include <mutex>

#include "vek/platform/thread.h"

namespace vek::platform {

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

using Lock = ShieldedLock<std::mutex>;

// A lock that its owner may take again.
using RecursiveLock = ShieldedLock<std::recursive_mutex>;

}  // namespace vek::platform
