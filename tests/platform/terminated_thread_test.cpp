#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "vek/platform/system.h"

namespace {

using namespace vek::platform;
using std::chrono::milliseconds;

struct Stage {
    std::unique_ptr<Event> started = TheSystem().NewEvent(EventKind::kAutoReset);
    std::unique_ptr<Event> go = TheSystem().NewEvent(EventKind::kAutoReset);
    std::atomic<bool> unwound{false};
};

bool WaitFor(Event* event, milliseconds timeout) {
    return TheSystem().WaitAny({&event, 1}, timeout).status == WaitStatus::kSignalled;
}

TEST(TerminatedThread, IsNotUnwound) {
    Stage stage;
    struct Flag {
        std::atomic<bool>& value;
        ~Flag() { value = true; }
    };
    // One reference, so that there is no allocation to leak.
    const auto thread = TheSystem().StartThread([&stage] {
        const Flag flag{stage.unwound};
        stage.started->Set();
        // The thread sanitizer holds signals back until a call is made.
        while (!WaitFor(stage.go.get(), milliseconds{5})) {
        }
    });
    ASSERT_TRUE(WaitFor(stage.started.get(), kInfinite));
    EXPECT_EQ(thread->Terminate(), system_error::kNone);
    EXPECT_EQ(thread->Wait(kInfinite), WaitStatus::kSignalled);
    EXPECT_EQ(thread->Wait(milliseconds{0}), WaitStatus::kSignalled);

    stage.go->Set();
    EXPECT_EQ(thread->Terminate(), system_error::kNone);
    EXPECT_FALSE(stage.unwound);
}

// Termination meets threads anywhere between their start and their end.
TEST(TerminatedThread, EndsAtWhateverMoment) {
    for (int i = 0; i < 40; ++i) {
        const auto thread = TheSystem().StartThread([] { std::this_thread::yield(); });
        ASSERT_NE(thread, nullptr);
        for (int pause = 0; pause < i % 20; ++pause) std::this_thread::yield();
        EXPECT_EQ(thread->Terminate(), system_error::kNone);
        ASSERT_EQ(thread->Wait(milliseconds{30'000}), WaitStatus::kSignalled);
    }
}

}  // namespace
