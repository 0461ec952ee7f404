#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "vek/platform/system.h"

namespace {

using namespace vek::platform;
using std::chrono::milliseconds;

WaitResult Wait(std::vector<Event*> events, milliseconds timeout = milliseconds{0}) {
    return TheSystem().WaitAny(events, timeout);
}

std::unique_ptr<Event> NewAutoEvent() { return TheSystem().NewEvent(EventKind::kAutoReset); }

TEST(Wait, TheFirstSignalledInOrderEndsItAndOnlyItsSignalIsTaken) {
    const auto done = NewAutoEvent(), request = NewAutoEvent(),
               stop = TheSystem().NewEvent(EventKind::kManualReset);
    const std::vector<Event*> all{done.get(), request.get(), stop.get()};
    EXPECT_EQ(Wait(all).status, WaitStatus::kTimeout);

    for (Event* event : {stop.get(), request.get(), done.get(), request.get()})
        EXPECT_EQ(event->Set(), system_error::kNone);  // twice is once
    for (const std::size_t expected : {0u, 1u, 2u, 2u}) {
        const WaitResult result = Wait(all, kInfinite);
        EXPECT_EQ(result.status, WaitStatus::kSignalled);
        EXPECT_EQ(result.index, expected);
    }
    EXPECT_EQ(stop->Reset(), system_error::kNone);
    EXPECT_EQ(Wait(all).status, WaitStatus::kTimeout);
    EXPECT_EQ(Wait({}).status, WaitStatus::kFailed);
    EXPECT_EQ(Wait(std::vector(kMaxWaitEvents + 1, stop.get())).status, WaitStatus::kFailed);
}

// However often others take the signal that woke it, a wait ends when its time has passed.
TEST(Wait, EverySignalIsTakenOnceAndTimeOutsCountFromTheStart) {
    const auto event = NewAutoEvent(), taken = NewAutoEvent();
    std::atomic<int> takes{0}, waiting{3};
    const auto take = [&] {
        auto start = std::chrono::steady_clock::now();
        for (; Wait({event.get()}, milliseconds{150}).status == WaitStatus::kSignalled; ++takes) {
            taken->Set();
            start = std::chrono::steady_clock::now();
        }
        EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds{130});
        --waiting;
    };
    std::thread waiters[] = {std::thread(take), std::thread(take), std::thread(take)};
    int sets = 0;
    for (; sets < 2000 && waiting == 3; ++sets) {
        event->Set();
        EXPECT_EQ(Wait({taken.get()}, milliseconds{30'000}).status, WaitStatus::kSignalled);
    }
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(takes, sets);
}

}  // namespace
