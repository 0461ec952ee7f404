#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "vek/platform/system.h"

namespace {

using namespace vek::platform;
using std::chrono::milliseconds;

TEST(Thread, LeavesTheHeapToOthersWhenItIsTerminatedWhileItAllocates) {
    const auto allocate = [] { std::free(std::malloc(100'000)); };
    for (int i = 0; i < 60; ++i) {
        const auto busy = TheSystem().StartThread([&] {
            for (;;) allocate();
        });
        std::this_thread::sleep_for(std::chrono::microseconds{i * 100});
        EXPECT_EQ(busy->Terminate(), system_error::kNone);
        const auto next = TheSystem().StartThread(allocate);
        ASSERT_EQ(next->Wait(milliseconds{10'000}), WaitStatus::kSignalled) << i;
    }
}

}  // namespace
