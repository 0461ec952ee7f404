#include "mapi/entry_id.h"
#include "tests/processing/async_fixture.h"

// A check whose owner was ended by force leaves memory and a worker thread behind for good.
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
    product.check = [&](bool, IMailMessage& mail) {
        checking.Raise(), go.Wait();
        std::u16string subject;
        if (!returned.IsRaised()) late = mail.GetSubject(subject);
        return returned.Raise(), vek::result::kOk;
    };
    const std::u16string id = plugins::mapi::EntryIdToHex(outlook.store().Add({}));
    auto& system = vek::platform::TheSystem();
    {
        AsyncProcessor processor(product.Environment(functions, system, tracer, 50));
        processor.AddMessage(id);
        processor.AddMessage(u"00");
        processor.Start();
        checking.Wait();
        processor.Stop();
        EXPECT_EQ(processor.GetCurrentEntryId(), u"") << "without its lock";
        processor.AddMessage(id);
        const auto told = product.observer.Take();
        EXPECT_EQ(told.at(3), tests::Ended({1}, vek::result::kUnspecifiedError));
        EXPECT_EQ(told.at(4), tests::Skipped({2, u"00"}, SkipReason::kClosing));
        EXPECT_EQ(told.at(5), tests::Skipped({3, id}, SkipReason::kClosing));
    }
    EXPECT_EQ(outlook.initializations(), 1) << "the ended thread's own";
    EXPECT_EQ(tracer->Count("[ASYNC] Async processor thread exiting"), 0u) << "it is not unwound";

    // The scanner's own thread comes back to what the ended one has left, and others go on.
    go.Raise();
    returned.Wait();
    EXPECT_EQ(late, vek::result::kUnspecifiedError) << "nobody answers any more";
    AsyncProcessor next(product.Environment(functions, system, tracer, 60'000));
    next.AddMessage(id);
    next.Start();
    product.observer.WaitFor("4 ended 0");
}

}  // namespace
}  // namespace plugins::mail_processing
