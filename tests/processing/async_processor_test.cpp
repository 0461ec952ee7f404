#include "processing/async_processor.h"

#include "internal/helpers/hresult_exception.h"
#include "processing/message_queue.h"
#include "tests/processing/async_fixture.h"
#include "tests/support/faulty_system.h"

namespace plugins::mail_processing {
namespace {

using outlook_call = sandbox::outlook::Call;
using ::testing::ElementsAre;
using tests::Ended, tests::Skipped, tests::Told;
using vek::platform::WaitStatus;
namespace result = vek::result;

class AsyncProcessorTest : public tests::MailFixture {
protected:
    AsyncProcessorTest() {
        product_.check = [this](bool, IMailMessage&) {
            checking_.Raise();
            go_.Wait();
            return result::kOk;
        };
    }
    ~AsyncProcessorTest() override {
        EXPECT_EQ(mapi_.initializations(), 1) << "the fixture's own";
        EXPECT_EQ(system_.live_events, 0);
        EXPECT_EQ(system_.live_threads, 0);
    }

    AsyncEnvironment Environment(int stop_ms = 60'000) {
        return product_.Environment(functions_, system_, tracer_, stop_ms);
    }
    std::u16string NewMessage() { return plugins::mapi::EntryIdToHex(mapi_.store().Add({})); }
    std::string LastLine() { return tracer_->lines().back(); }

    tests::FaultySystem system_;
    tests::AsyncProduct product_;
    tests::RecordingObserver& observer_ = product_.observer;
    vek::platform::Flag checking_, go_;
    const std::u16string a_ = NewMessage(), b_ = NewMessage(), c_ = NewMessage();
};

TEST_F(AsyncProcessorTest, ChecksEachMessageOnceInOrderPastThoseThatCannotBeChecked) {
    AsyncProcessor processor(Environment());
    processor.AddMessage(a_);
    processor.Start();
    EXPECT_THROW(processor.Start(), vek::contract::RequireViolation);
    checking_.Wait();
    EXPECT_EQ(processor.GetCurrentEntryId(), a_);
    EXPECT_EQ(mapi_.initializations(), 3) << "the thread has its own";
    EXPECT_THAT(observer_.Take(), ElementsAre(Told(1, "queued", a_), Told(1, "begun", a_)));
    const std::string added = "700 Message is added to queue, queue now contains ";
    const struct {
        std::u16string id;
        std::string line, told;
    } kAdded[] = {
        {a_, "700 Message is being processed now. Skip add to queue",
         Skipped(2, SkipReason::kInBackground, a_)},
        {b_, added + "1 messages", Told(3, "queued", b_)},
        {b_, "700 Message is already present in queue", Skipped(4, SkipReason::kAlreadyQueued, b_)},
        {u"", "700 Skip add message for empty entry id", Skipped(5, SkipReason::kNoEntryId, u"")},
        {u"00", added + "2 messages", Told(6, "queued", u"00")}};
    for (const auto& row : kAdded) {
        processor.AddMessage(row.id);
        EXPECT_EQ(LastLine(), row.line);
        EXPECT_THAT(observer_.Take(), ElementsAre(row.told));
    }
    go_.Raise();
    observer_.WaitFor("6 ended");
    constexpr auto kMissing = static_cast<vek::result_t>(MAPI_E_NOT_FOUND);
    EXPECT_THAT(observer_.Take(),
                ElementsAre(Ended(1, 0, a_), Told(3, "begun", b_), Ended(3, 0, b_),
                            Told(6, "begun", u"00"), Ended(6, kMissing, u"00")));

    // Each message may be queued again, and may then fail or be skipped.
    product_.product->FailLocator(result::kRemoteCallFailed);
    processor.AddMessage(a_);
    observer_.WaitFor("7 skipped");
    product_.product->FailLocator(result::kOk);
    product_.enabled = false;
    processor.AddMessage(b_);
    observer_.WaitFor("8 skipped");
    product_.enabled = true;
    processor.AddMessage(c_);
    observer_.WaitFor("9 ended");
    EXPECT_THAT(observer_.Take(),
                ElementsAre(Told(7, "queued", a_),
                            Skipped(7, SkipReason::kFailed, a_, result::kRemoteCallFailed),
                            Told(8, "queued", b_), Skipped(8, SkipReason::kPluginDisabled, b_),
                            Told(9, "queued", c_), Told(9, "begun", c_), Ended(9, 0, c_)));
    while (!processor.GetCurrentEntryId().empty()) std::this_thread::yield();
}

TEST_F(AsyncProcessorTest, StopsAfterTheMessageUnderCheckAndDropsTheOthers) {
    AsyncProcessor processor(Environment());
    processor.PrepareStop();
    EXPECT_EQ(tracer_->Count("700 Async processor not started"), 1u);
    processor.Start();
    for (const auto& id : {a_, b_, c_}) processor.AddMessage(id);
    checking_.Wait();
    processor.PrepareStop();
    observer_.Take();
    processor.AddMessage(b_);
    EXPECT_EQ(LastLine(), "700 Async processor exiting, message not added to queue");
    std::thread end([this] {
        while (tracer_->Count("700 Stopping async processor thread...") == 0)
            std::this_thread::yield();
        go_.Raise();
    });
    processor.Stop();
    end.join();
    EXPECT_EQ(LastLine(), "700 Async processor thread stopped");
    EXPECT_EQ(tracer_->Count("700 Logoff background session. result: 0x00000000"), 1u);
    processor.Stop();
    EXPECT_EQ(LastLine(), "700 Async processor thread already stopped");
    EXPECT_THROW(processor.Start(), vek::contract::RequireViolation);
    EXPECT_THAT(observer_.Take(), ElementsAre(Skipped(4, SkipReason::kClosing, b_), Ended(1, 0, a_),
                                              Skipped(2, SkipReason::kClosing, b_),
                                              Skipped(3, SkipReason::kClosing, c_)));
}

TEST_F(AsyncProcessorTest, IsInertWhenMapiIsNotInitialized) {
    mapi_.faults().FailNth(outlook_call::kInitialize, 1, MAPI_E_NO_ACCESS);
    AsyncProcessor processor(Environment());
    EXPECT_EQ(LastLine(), "300 [ASYNC] Failed to initialize MAPI. Error: 0x80070005");
    processor.Start();
    EXPECT_EQ(LastLine(), "300 Failed to start async processor thread. MAPI EDK not initialized.");
    processor.AddMessage(a_);
    EXPECT_EQ(LastLine(),
              "300 Failed to add message to async thread queue. MAPI EDK not initialized.");
    EXPECT_THAT(observer_.Take(), ElementsAre(Skipped(1, SkipReason::kNoMapi, a_)));
}

TEST_F(AsyncProcessorTest, RaisesWhatTheSystemRefuses) {
    for (const int nth : {1, 2}) {
        system_.fail_new_event = nth;
        EXPECT_THROW(AsyncProcessor{Environment()}, helpers::HResultCodeException);
        EXPECT_EQ(mapi_.initializations(), 1);
    }
    AsyncProcessor processor(Environment());
    system_.fail_start_thread = 1;
    EXPECT_THROW(processor.Start(), helpers::HResultCodeException);
    go_.Raise();
    processor.AddMessage(a_);
    processor.Start();
    observer_.WaitFor("1 ended");
    system_.fail_set = 1;
    processor.PrepareStop();
    EXPECT_EQ(tracer_->Count("300 Failed set stop event. Error: 1450"), 1u);
}

TEST_F(AsyncProcessorTest, AThreadThatCannotGoOnSaysWhyAndTakesNoMoreMessages) {
    const struct {
        int failing_wait;
        WaitStatus status;
        const char* error;
        outlook_call failing_call = {};
    } kCases[] = {{1, WaitStatus::kFailed, "WaitForMultipleObjects HRESULT=0x800705aa"},
                  {1, WaitStatus::kAbandoned, "WaitForMultipleObjects HRESULT=0x800702df"},
                  {2, WaitStatus::kFailed, " - HRESULT=0x800705aa"},
                  {2, WaitStatus::kAbandoned, " - HRESULT=0x80010106"},
                  {0, {}, " - HRESULT=0x80070005", outlook_call::kLogonEx},
                  {0, {}, "initialize MAPI. Error: 0x80070005", outlook_call::kInitialize}};
    for (const auto& row : kCases) {
        AsyncProcessor processor(Environment());
        processor.AddMessage(a_);
        system_.wait_failure = row.status;
        system_.fail_wait = row.failing_wait;
        if (row.failing_wait == 0) mapi_.faults().FailNth(row.failing_call, 1, MAPI_E_NO_ACCESS);
        processor.Start();
        const auto nth = static_cast<std::size_t>(&row - kCases) + 1;
        while (tracer_->Count("700 [ASYNC] Async processor thread exiting") < nth)
            std::this_thread::yield();
        EXPECT_EQ(tracer_->Count(row.error), 1u) << row.error;
        processor.AddMessage(b_);
        EXPECT_EQ(tracer_->Count("Async processor exiting"), nth) << "before anybody stops it";
    }
    EXPECT_EQ(tracer_->Count("Logoff background session"), 4u);
    EXPECT_FALSE(checking_.IsRaised());
}

TEST_F(AsyncProcessorTest, GivesUpAThreadThatCannotBeEndedByForce) {
    const AsyncEnvironment environment = Environment(20);
    {
        AsyncProcessor processor(environment);
        processor.AddMessage(a_);
        processor.Start();
        checking_.Wait();
        system_.fail_terminate = 1;
        EXPECT_THROW(processor.Stop(), helpers::HResultCodeException);
    }
    go_.Raise();
    // The thread alone holds its work now, until it ends.
    while (environment.settings.use_count() != 1) std::this_thread::yield();
    EXPECT_EQ(observer_.Take().back(), Ended(1, 0, a_));
}

TEST(MessageQueue, KeepsTheOrderAndRefusesWhatItHasOrHasNoRoomFor) {
    MessageQueue queue(2);
    EXPECT_TRUE(queue.Append(u"ab", 1));
    EXPECT_TRUE(queue.Append(u"AB", 2));
    EXPECT_FALSE(queue.Append(u"ab", 3));
    EXPECT_THROW(queue.Append(u"c", 4), std::length_error);
    EXPECT_EQ(queue.Take()->entry_id, u"ab");
    EXPECT_TRUE(queue.Append(u"ab", 5)) << "one that has left may come again";
    EXPECT_EQ(queue.Take()->number, 2u);
    EXPECT_EQ(queue.Take()->number, 5u);
    EXPECT_FALSE(queue.Take().has_value());
}

}  // namespace
}  // namespace plugins::mail_processing
