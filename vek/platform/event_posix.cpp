#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <limits>
#include <new>

#include "vek/platform/descriptor_posix.h"
#include "vek/platform/errno_posix.h"
#include "vek/platform/native.h"

namespace vek::platform {
namespace {

// A counter in the kernel, signalled when it is not zero: every set adds one, one read takes all.
class EventFd final : public Event {
public:
    EventFd(Descriptor descriptor, EventKind kind) noexcept
        : descriptor_(std::move(descriptor)), kind_(kind) {}

    system_error_t Set() noexcept override {
        // The one that waits may destroy this event as soon as it is signalled.
        const int descriptor = descriptor_.get();
        // The kernel's ordering is not the language's: this pairs with the load in Take.
        sets_.fetch_add(1, std::memory_order_release);
        const std::uint64_t one = 1;
        // A full counter is signalled as it is.
        if (::write(descriptor, &one, sizeof one) < 0 && errno != EAGAIN) {
            return FailWith(errno);
        }
        return system_error::kNone;
    }

    system_error_t Reset() noexcept override {
        std::uint64_t count;
        if (::read(descriptor_.get(), &count, sizeof count) < 0 && errno != EAGAIN) {
            return FailWith(errno);
        }
        return system_error::kNone;
    }

    std::intptr_t handle() const noexcept override { return descriptor_.get(); }

    // Ends a wait with this event's signal, which was seen. False, with errno EAGAIN, when
    // another wait has taken it since.
    bool Take() noexcept {
        std::uint64_t count;
        if (kind_ == EventKind::kAutoReset && ::read(descriptor_.get(), &count, sizeof count) < 0) {
            return false;
        }
        static_cast<void>(sets_.load(std::memory_order_acquire));
        return true;
    }

private:
    Descriptor descriptor_;
    EventKind kind_;
    std::atomic<std::uint32_t> sets_{0};
};

// The end of a wait, counted from when it is made.
class Deadline {
public:
    explicit Deadline(std::chrono::milliseconds timeout) noexcept
        : infinite_(timeout.count() < 0), end_(clock::now() + std::min(timeout, kLongest)) {}

    // The milliseconds left as poll takes them: a part counts as a whole one, -1 is no limit.
    int Left() const noexcept {
        if (infinite_) return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - clock::now());
        return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
    }

private:
    using clock = std::chrono::steady_clock;

    // The longest that poll takes, 24 days.
    static constexpr std::chrono::milliseconds kLongest{std::numeric_limits<int>::max()};

    bool infinite_;
    clock::time_point end_;
};

WaitResult FailedWait(int error) noexcept {
    FailWith(error);
    return {WaitStatus::kFailed, 0};
}

}  // namespace

namespace native {

std::unique_ptr<Event> NewEvent(EventKind kind) noexcept {
    Descriptor descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!descriptor) {
        FailWith(errno);
        return nullptr;
    }
    std::unique_ptr<Event> event(new (std::nothrow) EventFd(std::move(descriptor), kind));
    if (!event) FailWith(ENOMEM);
    return event;
}

WaitResult WaitAny(std::span<Event* const> events, std::chrono::milliseconds timeout) noexcept {
    const Deadline deadline(timeout);
    std::array<pollfd, kMaxWaitEvents> polled;
    for (std::size_t i = 0; i < events.size(); ++i) {
        polled[i] = {static_cast<int>(events[i]->handle()), POLLIN, 0};
    }
    for (;;) {
        const int ready = ::poll(polled.data(), events.size(), deadline.Left());
        if (ready == 0) return {WaitStatus::kTimeout, 0};
        if (ready < 0) {
            if (errno == EINTR) continue;
            return FailedWait(errno);
        }
        for (std::size_t i = 0; i < events.size(); ++i) {
            if ((polled[i].revents & POLLNVAL) != 0) return FailedWait(EBADF);
            if ((polled[i].revents & POLLIN) == 0) continue;
            if (static_cast<EventFd*>(events[i])->Take()) return {WaitStatus::kSignalled, i};
            if (errno != EAGAIN && errno != EINTR) return FailedWait(errno);
        }
    }
}

}  // namespace native
}  // namespace vek::platform
