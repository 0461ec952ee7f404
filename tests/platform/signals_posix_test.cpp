#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "vek/platform/system.h"

namespace {

using namespace vek::platform;

TEST(Wait, GoesOnAfterASignalHandler) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    struct sigaction before {};
    ::sigaction(SIGUSR1, &action, &before);

    const auto event = TheSystem().NewEvent(EventKind::kAutoReset);
    std::atomic<bool> ended{false};
    std::thread waiter([&] {
        Event* const events[] = {event.get()};
        EXPECT_EQ(TheSystem().WaitAny(events, kInfinite).status, WaitStatus::kSignalled);
        ended = true;
    });
    for (int i = 0; i < 20; ++i) {
        ::pthread_kill(waiter.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds{1});
        EXPECT_FALSE(ended);
    }
    event->Set();
    waiter.join();
    ::sigaction(SIGUSR1, &before, nullptr);
}

}  // namespace
