#include "processing/async_processor.h"
#include "mapi/entry_id.h"

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
        product_.check = [this](bool, auto&) { return checking_.Raise(), go_.Wait(), result::kOk; };
    }
    ~AsyncProcessorTest() override { EXPECT_EQ(mapi_.initializations(), 1) << "the fixture's own"; }

    AsyncEnvironment Environment() {
        return product_.Environment(functions_, system_, tracer_, 60'000);
    }
    std::u16string NewMessage() { return plugins::mapi::EntryIdToHex(mapi_.store().Add({})); }

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
    EXPECT_THAT(observer_.Take(), ElementsAre(Told({1, a_}, "queued"), Told({1, a_}, "begun")));
    const std::pair<std::u16string, std::string> kAdded[] = {
        {a_, Skipped({2, a_}, SkipReason::kInBackground)},
        {b_, Told({3, b_}, "queued")},
        {b_, Skipped({4, b_}, SkipReason::kAlreadyQueued)},
        {u"", Skipped({5}, SkipReason::kNoEntryId)},
        {u"00", Told({6, u"00"}, "queued")}};
    for (const auto& [id, told] : kAdded) {
        processor.AddMessage(id);
        EXPECT_THAT(observer_.Take(), ElementsAre(told));
    }
    go_.Raise();
    observer_.WaitFor("6 ended");
    constexpr auto kMissing = static_cast<vek::result_t>(MAPI_E_NOT_FOUND);
    EXPECT_THAT(observer_.Take(),
                ElementsAre(Ended({1, a_}, 0), Told({3, b_}, "begun"), Ended({3, b_}, 0),
                            Told({6, u"00"}, "begun"), Ended({6, u"00"}, kMissing)));

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
                ElementsAre(Told({7, a_}, "queued"),
                            Skipped({7, a_}, SkipReason::kFailed, result::kRemoteCallFailed),
                            Told({8, b_}, "queued"), Skipped({8, b_}, SkipReason::kPluginDisabled),
                            Told({9, c_}, "queued"), Told({9, c_}, "begun"), Ended({9, c_}, 0)));
    while (!processor.GetCurrentEntryId().empty()) std::this_thread::yield();
}

TEST_F(AsyncProcessorTest, StopsAfterTheMessageUnderCheckAndDropsTheOthers) {
    AsyncProcessor processor(Environment());
    processor.PrepareStop();
    processor.Start();
    for (const auto& id : {a_, b_, c_}) processor.AddMessage(id);
    checking_.Wait();
    processor.PrepareStop();
    observer_.Take();
    processor.AddMessage(b_);
    std::thread end([this] {
        while (tracer_->Count("700 Stopping async processor thread...") == 0)
            std::this_thread::yield();
        go_.Raise();
    });
    processor.Stop();
    end.join();
    EXPECT_EQ(tracer_->Count("700 Logoff background session. result: 0x00000000"), 1u);
    processor.Stop();
    EXPECT_THROW(processor.Start(), vek::contract::RequireViolation);
    EXPECT_THAT(observer_.Take(),
                ElementsAre(Skipped({4, b_}, SkipReason::kClosing), Ended({1, a_}, 0),
                            Skipped({2, b_}, SkipReason::kClosing),
                            Skipped({3, c_}, SkipReason::kClosing)));
}

TEST_F(AsyncProcessorTest, RefusesTheScannersCallsBeforeItWouldEndTheThreadByForce) {
    product_.check = [this](bool, IMailMessage& mail) {
        checking_.Raise();
        std::u16string subject;
        while (mail.GetSubject(subject) != result::kUnspecifiedError) {
        }
        return result::kUnspecifiedError;
    };
    AsyncEnvironment environment = Environment();
    environment.stop_timeout = std::chrono::milliseconds{50};
    AsyncProcessor processor(environment);
    processor.AddMessage(a_);
    processor.Start();
    checking_.Wait();
    processor.Stop();
    EXPECT_EQ(tracer_->Count("300 Unable to stop async processor thread"), 1u);
    EXPECT_EQ(tracer_->Count("[ASYNC] Async processor thread exiting"), 1u);
}

TEST_F(AsyncProcessorTest, IsInertWhenMapiIsNotInitialized) {
    mapi_.faults().FailNth(outlook_call::kInitialize, 1, MAPI_E_NO_ACCESS);
    AsyncProcessor processor(Environment());
    processor.Start();
    EXPECT_EQ(tracer_->Count("300 "), 2u) << "one for each";
    processor.AddMessage(a_);
    EXPECT_THAT(observer_.Take(), ElementsAre(Skipped({1, a_}, SkipReason::kNoMapi)));
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

TEST(MessageQueue, RefusesWhatItHasNoRoomFor) {
    MessageQueue queue(1);
    EXPECT_TRUE(queue.Append(u"AB", 1));
    EXPECT_THROW(queue.Append(u"c", 2), std::length_error);
}

}  // namespace
}  // namespace plugins::mail_processing
