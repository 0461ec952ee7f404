#include "mapi/entry_id.h"
#include "tests/processing/async_fixture.h"
#include "tests/support/faulty_system.h"

// A check whose owner was ended by force leaves memory and a worker thread behind for good.
// NOLINTBEGIN(bugprone-reserved-identifier): the sanitizers name these.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:async_termination_test.cpp\nleak:plugins::mail_processing::AsyncWork::Run\n";
}
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
    return "thread:plugins::mail_processing::AsyncWork::Process\n";
}
// NOLINTEND(bugprone-reserved-identifier)

namespace plugins::mail_processing {
namespace {

using std::chrono::milliseconds;

std::atomic<std::uint32_t> uninitializing_thread{0};
void WINAPI HangInUninitialize() {
    uninitializing_thread = vek::platform::CurrentThreadId();
    for (;;) std::this_thread::sleep_for(milliseconds{1000});
}

// Never destroyed, as what the thread uses in a process.
struct Surroundings {
    explicit Surroundings(sandbox::outlook::MapiSubsystem& outlook)
        : functions(std::make_shared<mapi::MapiFunctions>(outlook.Functions())),
          id(plugins::mapi::EntryIdToHex(outlook.store().Add({}))) {
        system.longest_wait = milliseconds{100};
    }
    AsyncEnvironment Environment(int stop_ms) {
        return product.Environment(functions, system, tracer, stop_ms);
    }

    const std::shared_ptr<mapi::MapiFunctions> functions;
    const std::shared_ptr<tests::RecordingTracer> tracer =
        std::make_shared<tests::RecordingTracer>();
    tests::FaultySystem system;
    tests::AsyncProduct product;
    const std::u16string id;
    vek::platform::Flag checking, go, returned;
};

TEST(AsyncTermination, AThreadThatHangsIsEndedByForceAndNothingThatItUsedIsFreed) {
    sandbox::outlook::MapiSubsystem outlook;
    auto& all = *new Surroundings(outlook);
    vek::result_t late = vek::result::kOk;
    all.product.check = [&](bool, IMailMessage& mail) {
        all.checking.Raise(), all.go.Wait();
        std::u16string subject;
        if (!all.returned.IsRaised()) late = mail.GetSubject(subject);
        return all.returned.Raise(), vek::result::kOk;
    };
    const auto uninitialize = std::exchange(all.functions->uninitialize, HangInUninitialize);
    {
        AsyncProcessor processor(all.Environment(60'000));
        processor.AddMessage(all.id);
        processor.AddMessage(u"00");
        processor.Start();
        all.checking.Wait();
        processor.Stop();
        EXPECT_EQ(processor.GetCurrentEntryId(), u"");
        processor.AddMessage(all.id);
        const auto told = all.product.observer.Take();
        EXPECT_EQ(told.at(3), tests::Ended({1}, vek::result::kUnspecifiedError));
        EXPECT_EQ(told.at(4), tests::Skipped({2, u"00"}, SkipReason::kClosing));
        EXPECT_EQ(told.at(5), tests::Skipped({3, all.id}, SkipReason::kClosing));
    }
    EXPECT_EQ(all.tracer->Count("[ASYNC] Async processor thread exiting"), 0u)
        << "it is not unwound";
    EXPECT_EQ(outlook.initializations(), 2) << "the ended thread's own, and the one that hangs";
    EXPECT_EQ(all.tracer->Count("300 [ASYNC] MAPI does not uninitialize"), 1u);
    EXPECT_NE(uninitializing_thread, vek::platform::CurrentThreadId());
    EXPECT_EQ(all.system.waited.load(), milliseconds{63'000});
    static_assert(vek::platform::kForcedEndPatience < milliseconds{1000}, "64 seconds in all");

    // The scanner's own thread comes back to what the ended one has left, and others go on.
    all.go.Raise();
    all.returned.Wait();
    EXPECT_EQ(late, vek::result::kUnspecifiedError) << "nobody answers any more";
    all.functions->uninitialize = uninitialize;
    all.system.longest_wait = milliseconds{30'000};
    AsyncProcessor next(all.Environment(60'000));
    next.AddMessage(all.id);
    next.Start();
    all.product.observer.WaitFor("4 ended 0");
}

}  // namespace
}  // namespace plugins::mail_processing
