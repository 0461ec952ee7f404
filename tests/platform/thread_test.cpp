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
};

void WaitFor(Event* event) { TheSystem().WaitAny({&event, 1}, kInfinite); }

TEST(Thread, IsWaitedForAsOftenAndByAsManyAsLike) {
    Stage stage;
    std::uint32_t id = 0;
    auto closure = std::make_shared<int>(0);
    const std::weak_ptr<int> watch = closure;
    const auto thread = TheSystem().StartThread([&, owned = std::move(closure)] {
        id = CurrentThreadId();
        WaitFor(stage.go.get());
    });
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(thread->Wait(milliseconds{10}), WaitStatus::kTimeout);

    std::thread other([&] { EXPECT_EQ(thread->Wait(kInfinite), WaitStatus::kSignalled); });
    stage.go->Set();
    for (const milliseconds timeout : {kInfinite, milliseconds{0}, kInfinite})
        EXPECT_EQ(thread->Wait(timeout), WaitStatus::kSignalled);
    other.join();
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(thread->id(), id);
    EXPECT_NE(id, CurrentThreadId());
    EXPECT_EQ(thread->Terminate(), system_error::kNone);

    // Without its owner a thread goes on.
    TheSystem().StartThread([&] { WaitFor(stage.go.get()), stage.started->Set(); });
    stage.go->Set();
    WaitFor(stage.started.get());
}

TEST(Thread, IsNotUnwoundWhenTerminated) {
    Stage stage;
    static std::atomic<bool> unwound{false};
    struct Flag {
        ~Flag() { unwound = true; }
    };
    // One reference, so that there is no allocation to leak.
    const auto thread = TheSystem().StartThread([&stage] {
        const Flag flag;
        stage.started->Set();
        WaitFor(stage.go.get());
    });
    WaitFor(stage.started.get());
    // Again, because the thread sanitizer loses a signal that meets a thread inside of it.
    do {
        EXPECT_EQ(thread->Terminate(), system_error::kNone);
    } while (thread->Wait(milliseconds{200}) == WaitStatus::kTimeout);
    stage.go->Set();
    EXPECT_EQ(thread->Wait(milliseconds{0}), WaitStatus::kSignalled);
    EXPECT_EQ(thread->Terminate(), system_error::kNone);
    EXPECT_FALSE(unwound);
}

TEST(Thread, IsTerminatedAnywhereBetweenItsStartAndItsEnd) {
    for (int i = 0; i < 40; ++i) {
        const auto thread = TheSystem().StartThread([] { std::this_thread::yield(); });
        ASSERT_NE(thread, nullptr);
        for (int pause = 0; pause < i % 20; ++pause) std::this_thread::yield();
        EXPECT_EQ(thread->Terminate(), system_error::kNone);
        ASSERT_EQ(thread->Wait(milliseconds{30'000}), WaitStatus::kSignalled);
    }
}

}  // namespace
