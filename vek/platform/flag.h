#pragma once

#include <condition_variable>
#include <mutex>

namespace vek::platform {

// Is raised once and can be waited for, by any thread. In place of std::atomic's wait, which loses
// wake-ups where the runtime library builds it on a condition variable, as it does for Windows.
class Flag {
public:
    void Raise() {
        {
            const std::lock_guard guard(lock_);
            raised_ = true;
        }
        changed_.notify_all();
    }
    void Wait() {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return raised_; });
    }
    bool IsRaised() {
        const std::lock_guard guard(lock_);
        return raised_;
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    bool raised_ = false;
};

}  // namespace vek::platform
