#pragma once

// How long calls wait for their replies. The calling thread says so, by objects on its stack: the
// interfaces that are called have no place for it. Without one of LimitedCalls or WatchedCalls a
// call waits without limit, and the innermost of them decides. They act on connections that are
// made with a PeerWatch.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>

#include "vek/platform/clock.h"

namespace vek::remoting {

// How long one event waits unless it is told otherwise.
inline constexpr std::chrono::milliseconds kEventWait{3000};

// The time that one event has for all its limited calls together, on whichever threads they are
// made. Time in which the machine sleeps does not count.
class WaitBudget {
public:
    // `clock` outlives the budget.
    explicit WaitBudget(std::chrono::milliseconds limit,
                        platform::Clock& clock = platform::TheClock()) noexcept
        : clock_(clock), left_(limit) {}

    platform::Clock& clock() const noexcept { return clock_; }
    // Not negative.
    std::chrono::milliseconds left() const noexcept;
    void Spend(std::chrono::milliseconds time) noexcept;

private:
    platform::Clock& clock_;
    std::atomic<std::chrono::milliseconds> left_;
};

using WaitBudgetPtr = std::shared_ptr<WaitBudget>;

// One event, on the stack of a thread that works at it. One within another counts for itself.
class EventScope {
public:
    explicit EventScope(std::chrono::milliseconds limit)
        : EventScope(std::make_shared<WaitBudget>(limit)) {}
    // Goes on with an event on another thread; null for none.
    explicit EventScope(WaitBudgetPtr budget) noexcept;
    ~EventScope();
    EventScope(const EventScope&) = delete;
    EventScope& operator=(const EventScope&) = delete;

    // That of this thread's event; null without one.
    static WaitBudgetPtr Budget() noexcept;

private:
    const WaitBudgetPtr budget_;
    const EventScope* const outer_;
};

// Base of the two below.
class CallScope {
public:
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;

    enum class Kind { kLimited, kWatched };
    Kind kind() const noexcept { return kind_; }
    // What a limited call has left, 0 when that is over.
    std::chrono::milliseconds left() const noexcept;

    // This thread's innermost; null when its calls wait without limit.
    static const CallScope* Current() noexcept;

protected:
    explicit CallScope(Kind kind) noexcept;
    ~CallScope();

    const CallScope* outer() const noexcept { return outer_; }
    platform::Clock* clock_ = &platform::TheClock();
    std::chrono::milliseconds deadline_{};  // of its awake time, for limited ones

private:
    const Kind kind_;
    const CallScope* const outer_;
};

// This thread's calls wait no longer than its event has time left: then their connection ends, and
// they return kRemoteCallFailed. Without an event the outermost of these is one, of kEventWait.
class LimitedCalls : public CallScope {
public:
    LimitedCalls() noexcept;
    // The same, and in any case not longer than `most`.
    explicit LimitedCalls(std::chrono::milliseconds most) noexcept : LimitedCalls() {
        deadline_ = std::min(deadline_, clock_->AwakeTime() + most);
    }
    ~LimitedCalls();

    bool IsOver() const noexcept { return left().count() == 0; }

private:
    const WaitBudgetPtr budget_;  // that is spent; null within another
    std::chrono::milliseconds begun_{};
};

// This thread's calls take as long as the peer takes, while it shows that it lives (PeerWatch).
class WatchedCalls : public CallScope {
public:
    WatchedCalls() noexcept : CallScope(Kind::kWatched) {}
};

}  // namespace vek::remoting
