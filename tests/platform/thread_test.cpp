#include <gtest/gtest.h>

#include <thread>

#include "vek/platform/system.h"

namespace {

using namespace vek::platform;
using std::chrono::milliseconds;

void WaitFor(const std::unique_ptr<Event>& event) {
    Event* const events[] = {event.get()};
    EXPECT_EQ(TheSystem().WaitAny(events, kInfinite).status, WaitStatus::kSignalled);
}

class ThreadTest : public ::testing::Test {
protected:
    const std::unique_ptr<Event> go_ = TheSystem().NewEvent(EventKind::kAutoReset);
};

TEST_F(ThreadTest, IsWaitedForAsOftenAndByAsManyAsLike) {
    std::uint32_t id = 0;
    auto closure = std::make_shared<int>(0);
    const std::weak_ptr<int> watch = closure;
    const auto thread = TheSystem().StartThread([&, owned = std::move(closure)] {
        id = CurrentThreadId();
        WaitFor(go_);
        *owned = 1;
    });
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(thread->Wait(milliseconds{0}), WaitStatus::kTimeout);
    EXPECT_EQ(thread->Wait(milliseconds{10}), WaitStatus::kTimeout);

    std::thread other([&] {
        for (int i = 0; i < 100; ++i) EXPECT_EQ(thread->Wait(kInfinite), WaitStatus::kSignalled);
    });
    go_->Set();
    EXPECT_EQ(thread->Wait(kInfinite), WaitStatus::kSignalled);
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(thread->id(), id);
    EXPECT_NE(id, CurrentThreadId());
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(thread->Wait(milliseconds{0}), WaitStatus::kSignalled);
    }
    EXPECT_EQ(thread->Terminate(), system_error::kNone);
    other.join();
}

TEST_F(ThreadTest, GoesOnWithoutItsOwner) {
    const auto ended = TheSystem().NewEvent(EventKind::kAutoReset);
    TheSystem().StartThread([this, &ended] {
        WaitFor(go_);
        ended->Set();
    });
    go_->Set();
    WaitFor(ended);
}

}  // namespace
