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

    for (Event* event : {stop.get(), request.get(), done.get()}) {
        EXPECT_EQ(event->Set(), system_error::kNone);
    }
    request->Set();  // twice is once
    for (const std::size_t expected : {0u, 1u, 2u, 2u}) {
        const WaitResult result = Wait(all, kInfinite);
        EXPECT_EQ(result.status, WaitStatus::kSignalled);
        EXPECT_EQ(result.index, expected);
    }
    EXPECT_EQ(stop->Reset(), system_error::kNone);
    EXPECT_EQ(Wait(all).status, WaitStatus::kTimeout);
    EXPECT_EQ(stop->Reset(), system_error::kNone);

    EXPECT_EQ(Wait({}).status, WaitStatus::kFailed);
    EXPECT_EQ(LastError(), system_error::kInvalidParameter);
    EXPECT_EQ(Wait(std::vector(kMaxWaitEvents + 1, stop.get())).status, WaitStatus::kFailed);
}

// However often others take the signal that woke it, a wait ends when its time has passed.
TEST(Wait, EverySignalIsTakenOnceAndTimeOutsCountFromTheStart) {
    const auto event = NewAutoEvent(), taken = NewAutoEvent();
    constexpr milliseconds kLimit{150};
    constexpr int kWaiters = 3;
    std::atomic<int> takes{0}, waiting{kWaiters};
    std::vector<std::thread> waiters;
    for (int i = 0; i < kWaiters; ++i) {
        waiters.emplace_back([&] {
            for (;;) {
                const auto start = std::chrono::steady_clock::now();
                const WaitResult result = Wait({event.get()}, kLimit);
                if (result.status != WaitStatus::kSignalled) {
                    EXPECT_EQ(result.status, WaitStatus::kTimeout);
                    EXPECT_GE(std::chrono::steady_clock::now() - start, kLimit - milliseconds{20});
                    --waiting;
                    return;
                }
                ++takes;
                taken->Set();
            }
        });
    }
    int sets = 0;
    for (; sets < 2000 && waiting == kWaiters; ++sets) {
        event->Set();
        EXPECT_EQ(Wait({taken.get()}, milliseconds{30'000}).status, WaitStatus::kSignalled);
    }
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(takes, sets);
}

// The writes of a thread before it sets an event are seen by the thread whose wait that ends.
TEST(Wait, HandsDataOverThousandsOfTimes) {
    const auto request = NewAutoEvent(), reply = NewAutoEvent();
    constexpr int kRounds = 5000;
    int data = 0;
    std::thread owner([&] {
        for (int i = 0; i < kRounds; ++i) {
            Wait({request.get()}, kInfinite);
            data *= 2;
            reply->Set();
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        data = i;
        request->Set();
        EXPECT_EQ(Wait({reply.get()}, kInfinite).status, WaitStatus::kSignalled);
        EXPECT_EQ(data, 2 * i);
    }
    owner.join();
}

}  // namespace
