#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/support/temporary_folder.h"
#include "vek/platform/system.h"
#include "vek/trace/file_tracer.h"

namespace {

using namespace vek::platform;
using std::chrono::milliseconds;

struct Stage {
    std::unique_ptr<Event> started = TheSystem().NewEvent(EventKind::kAutoReset);
    std::unique_ptr<Event> go = TheSystem().NewEvent(EventKind::kAutoReset);
};

void WaitFor(Event* event) { TheSystem().WaitAny({&event, 1}, kInfinite); }

// Again and again, because the thread sanitizer loses a signal that meets a thread inside of it.
void End(Thread& thread) {
    do {
        EXPECT_EQ(thread.Terminate(), system_error::kNone);
    } while (thread.Wait(milliseconds{200}) == WaitStatus::kTimeout);
}

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

TEST(Thread, IsTerminatedAnywhereBetweenItsStartAndItsEnd) {
    for (int i = 0; i < 40; ++i) {
        const auto thread = TheSystem().StartThread([] { std::this_thread::yield(); });
        ASSERT_NE(thread, nullptr);
        for (int pause = 0; pause < i % 20; ++pause) std::this_thread::yield();
        EXPECT_EQ(thread->Terminate(), system_error::kNone);
        ASSERT_EQ(thread->Wait(milliseconds{30'000}), WaitStatus::kSignalled);
    }
}

TEST(Thread, LeavesTheTraceToOthersWhenItIsTerminatedWhileItWrites) {
    namespace trace = vek::trace;
    const tests::TemporaryFolder folder;
    const trace::FileTracerConfig config{
        .folder = tests::Utf8(folder.path()), .name = "", .version = "", .max_size = 1 << 16};
    static trace::TracerPtr tracer;  // not on the stack: a writer that waits for ever still uses it
    tracer = trace::OpenFileTracer(config);
    for (int i = 0; i < 60; ++i) {
        const auto busy = TheSystem().StartThread([] {
            for (;;) tracer->Write(trace::level::kDetail, "busy");
        });
        std::this_thread::sleep_for(std::chrono::microseconds{i * 100});
        End(*busy);
        const auto next =
            TheSystem().StartThread([] { tracer->Write(trace::level::kError, "next"); });
        ASSERT_EQ(next->Wait(milliseconds{10'000}), WaitStatus::kSignalled) << i;
        EXPECT_TRUE(tests::ReadFile(trace::TraceLocation(config)).ends_with("next\r\n")) << i;
    }
    tracer.reset();
}

}  // namespace
