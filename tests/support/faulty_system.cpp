#include "tests/support/faulty_system.h"

#include <algorithm>
#include <array>

namespace tests {
namespace {

using namespace vek::platform;

// Counts itself while it lives.
struct Counted {
    explicit Counted(std::atomic<int>& live) : live_(live) { ++live_; }
    ~Counted() { --live_; }
    std::atomic<int>& live_;
};

class CountedEvent final : public Event, Counted {
public:
    CountedEvent(FaultySystem& system, std::unique_ptr<Event> event)
        : Counted(system.live_events), system_(system), event_(std::move(event)) {}
    system_error_t Set() noexcept override {
        return FaultySystem::Fails(system_.fail_set) ? FaultySystem::kError : event_->Set();
    }
    system_error_t Reset() noexcept override { return event_->Reset(); }
    std::intptr_t handle() const noexcept override { return event_->handle(); }
    Event* real() const noexcept { return event_.get(); }

private:
    FaultySystem& system_;
    const std::unique_ptr<Event> event_;
};

class CountedThread final : public Thread, Counted {
public:
    CountedThread(FaultySystem& system, std::unique_ptr<Thread> thread)
        : Counted(system.live_threads), system_(system), thread_(std::move(thread)) {}
    WaitStatus Wait(std::chrono::milliseconds limit) noexcept override {
        if (limit != kInfinite) system_.waited = system_.waited.load() + limit;
        return thread_->Wait(std::min(limit, system_.longest_wait));
    }
    system_error_t Terminate() noexcept override { return thread_->Terminate(); }
    std::uint32_t id() const noexcept override { return thread_->id(); }

private:
    FaultySystem& system_;
    const std::unique_ptr<Thread> thread_;
};

}  // namespace

bool FaultySystem::Fails(std::atomic<int>& countdown) noexcept {
    if (countdown.load() == 0 || countdown.fetch_sub(1) != 1) return false;
    SetLastError(kError);
    return true;
}

std::unique_ptr<Event> FaultySystem::NewEvent(EventKind kind) {
    if (Fails(fail_new_event)) return nullptr;
    return std::make_unique<CountedEvent>(*this, TheSystem().NewEvent(kind));
}

WaitResult FaultySystem::WaitAny(std::span<Event* const> events,
                                 std::chrono::milliseconds timeout) noexcept {
    const std::uint32_t thread = fail_wait_on_thread;
    if ((thread == 0 || thread == CurrentThreadId()) && Fails(fail_wait)) return {wait_failure, 0};
    std::array<Event*, kMaxWaitEvents> real{};
    std::ranges::transform(events, real.begin(), [](const Event* event) {
        return static_cast<const CountedEvent*>(event)->real();
    });
    return TheSystem().WaitAny(std::span(real).first(events.size()), timeout);
}

std::unique_ptr<Thread> FaultySystem::StartThread(std::function<void()> body) {
    if (Fails(fail_start_thread)) return nullptr;
    return std::make_unique<CountedThread>(*this, TheSystem().StartThread(std::move(body)));
}

}  // namespace tests
