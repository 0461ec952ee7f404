#include "tests/processing/async_fixture.h"

// What belongs to a check whose owner was ended by force is nobody's to give back or to join.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:async_termination_test.cpp\nleak:plugins::mail_processing::AsyncWork::Run\n";
}
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
    return "thread:plugins::mail_processing::AsyncWork::Process\n";
}

namespace plugins::mail_processing {
namespace {

TEST(AsyncTermination, AThreadThatHangsIsEndedByForceAndNothingThatItUsedIsFreed) {
    sandbox::outlook::MapiSubsystem outlook;
    const auto functions = std::make_shared<const mapi::MapiFunctions>(outlook.Functions());
    const auto tracer = std::make_shared<tests::RecordingTracer>();
    // Never destroyed, as what the thread uses in a process.
    auto& product = *new tests::AsyncProduct;
    auto& checking = *new vek::platform::Flag;
    auto& go = *new vek::platform::Flag;
    auto& returned = *new vek::platform::Flag;
    vek::result_t late = vek::result::kOk;
    product.during_check = [&](IMailMessage& mail) {
        checking.Raise(), go.Wait();
        std::u16string subject;
        if (!returned.IsRaised()) late = mail.GetSubject(subject);
        returned.Raise();
    };
    const std::u16string entry_id = plugins::mapi::EntryIdToHex(outlook.store().Add({}));
    {
        AsyncProcessor processor(
            product.Environment(functions, vek::platform::TheSystem(), tracer, 50));
        processor.AddMessage(entry_id);
        processor.Start();
        checking.Wait();
        EXPECT_EQ(processor.GetCurrentEntryId(), entry_id);
        processor.Stop();
        const auto lines = tracer->lines();
        EXPECT_EQ(lines.at(lines.size() - 3), "700 Stopping async processor thread...");
        EXPECT_EQ(lines.at(lines.size() - 2),
                  "300 Unable to stop async processor thread, thread should be terminated");
        EXPECT_EQ(lines.back(), "700 Async processor thread stopped");
        EXPECT_EQ(processor.GetCurrentEntryId(), u"") << "without its lock";
        processor.AddMessage(entry_id);
        EXPECT_EQ(tracer->Count("Async processor exiting, message not added to queue"), 1u);
    }
    EXPECT_EQ(outlook.initializations(), 1) << "the ended thread's own";
    EXPECT_EQ(tracer->Count("[ASYNC] Async processor thread exiting"), 0u) << "it is not unwound";

    // The scanner's own thread comes back to what the ended one has left, and others go on.
    go.Raise();
    returned.Wait();
    EXPECT_EQ(late, vek::result::kUnspecifiedError) << "nobody answers any more";
    AsyncProcessor next(product.Environment(functions, vek::platform::TheSystem(), tracer));
    next.AddMessage(entry_id);
    next.Start();
    tests::WaitForLine(*tracer, "<= ProcessMessage", 1);
}

}  // namespace
}  // namespace plugins::mail_processing
