#include "tests/support/faulty_system.h"

#include <array>
#include <vector>

namespace tests {
namespace {

using namespace vek::platform;

class CountedEvent final : public Event {
public:
    CountedEvent(FaultySystem& system, std::unique_ptr<Event> event)
        : system_(system), event_(std::move(event)) {
        ++system_.live_events;
    }
    ~CountedEvent() override { --system_.live_events; }
    system_error_t Set() noexcept override {
        if (!FaultySystem::Fails(system_.fail_set)) return event_->Set();
        return FaultySystem::kError;
    }
    system_error_t Reset() noexcept override { return event_->Reset(); }
    std::intptr_t handle() const noexcept override { return event_->handle(); }
    Event* real() const noexcept { return event_.get(); }

private:
    FaultySystem& system_;
    const std::unique_ptr<Event> event_;
};

class CountedThread final : public Thread {
public:
    CountedThread(FaultySystem& system, std::unique_ptr<Thread> thread)
        : system_(system), thread_(std::move(thread)) {
        ++system_.live_threads;
    }
    ~CountedThread() override { --system_.live_threads; }
    WaitStatus Wait(std::chrono::milliseconds timeout) noexcept override {
        return thread_->Wait(timeout);
    }
    system_error_t Terminate() noexcept override {
        if (!FaultySystem::Fails(system_.fail_terminate)) return thread_->Terminate();
        return FaultySystem::kError;
    }
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
    if ((thread == 0 || thread == vek::platform::CurrentThreadId()) && Fails(fail_wait)) {
        return {wait_failure, 0};
    }
    std::array<Event*, kMaxWaitEvents> real{};
    for (std::size_t i = 0; i < events.size(); ++i) {
        real[i] = static_cast<const CountedEvent*>(events[i])->real();
    }
    return TheSystem().WaitAny(std::span(real).first(events.size()), timeout);
}

std::unique_ptr<Thread> FaultySystem::StartThread(std::function<void()> body) {
    if (Fails(fail_start_thread)) return nullptr;
    return std::make_unique<CountedThread>(*this, TheSystem().StartThread(std::move(body)));
}

}  // namespace tests
