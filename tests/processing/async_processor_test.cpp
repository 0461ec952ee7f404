#include "processing/async_processor.h"

#include "internal/helpers/hresult_exception.h"
#include "processing/message_queue.h"
#include "tests/processing/async_fixture.h"
#include "tests/support/faulty_system.h"

namespace plugins::mail_processing {
namespace {

namespace outlook = sandbox::outlook;
using outlook_call = outlook::Call;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using vek::platform::WaitStatus;

class AsyncProcessorTest : public tests::MailFixture {
protected:
    ~AsyncProcessorTest() override {
        EXPECT_EQ(mapi_.initializations(), 1) << "the fixture's own";
        EXPECT_EQ(system_.live_events, 0);
        EXPECT_EQ(system_.live_threads, 0);
    }

    AsyncEnvironment Environment(int stop_ms = 60'000) {
        return product_.Environment(functions_, system_, tracer_, stop_ms);
    }
    std::u16string NewMessage(std::string subject) {
        outlook::MessageRecord record = *mapi_.store().Find(entry_id_);
        record.properties.Set(tests::tag::kSubjectW,
                              outlook::PropertyValue::Text(std::move(subject)));
        return plugins::mapi::EntryIdToHex(mapi_.store().Add(std::move(record)));
    }
    void WaitForLine(std::string_view part, std::size_t count = 1) {
        tests::WaitForLine(*tracer_, part, count);
    }
    // Has each check wait for go_.
    void HoldChecks() {
        product_.during_check = [this](IMailMessage&) {
            checking_.Raise();
            go_.Wait();
        };
    }
    // The lines since the `from`th.
    std::vector<std::string> Lines(std::size_t from = 0) {
        auto lines = tracer_->lines();
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(from));
        return lines;
    }

    tests::FaultySystem system_;
    tests::AsyncProduct product_;
    vek::platform::Flag checking_, go_;
    const std::u16string a_ = NewMessage("a"), b_ = NewMessage("b"), c_ = NewMessage("c");
};

TEST_F(AsyncProcessorTest, ChecksEachMessageOnceInOrderPastThoseThatCannotBeChecked) {
    HoldChecks();
    AsyncProcessor processor(Environment());
    processor.AddMessage(a_);
    processor.Start();
    EXPECT_THROW(processor.Start(), vek::contract::RequireViolation);
    checking_.Wait();
    EXPECT_EQ(processor.GetCurrentEntryId(), a_);
    EXPECT_EQ(mapi_.initializations(), 3) << "the thread has its own";
    const std::string being = "700 Message is being processed now. Skip add to queue";
    const std::string present = "700 Message is already present in queue";
    const std::string added = "700 Message is added to queue, queue now contains ";
    const struct {
        std::u16string id;
        std::string line;
    } kAdded[] = {{a_, being},
                  {b_, added + "1 messages"},
                  {b_, present},
                  {u"", "700 Skip add message for empty entry id"},
                  {u"00", added + "2 messages"},
                  {c_, added + "3 messages"},
                  {c_, present}};
    for (const auto& row : kAdded) {
        processor.AddMessage(row.id);
        EXPECT_EQ(tracer_->lines().back(), row.line);
    }
    EXPECT_THAT(product_.checked, ElementsAre(u"a"));
    go_.Raise();
    WaitForLine("700 [ASYNC] Message queue is empty");
    EXPECT_EQ(tracer_->Count("700 [ASYNC] Processing message from queue, 2 messages remain..."),
              1u);
    EXPECT_THAT(product_.checked, ElementsAre(u"a", u"b", u"c"));
    EXPECT_EQ(tracer_->Count("300 "), 1u) << "the one that is not there";
    EXPECT_EQ(processor.GetCurrentEntryId(), u"");

    product_.product->FailLocator(vek::result::kRemoteCallFailed);
    processor.AddMessage(a_);
    WaitForLine("300 CheckResultFailedException");
    product_.product->FailLocator(vek::result::kOk);
    product_.enabled = false;
    processor.AddMessage(b_);
    WaitForLine("700 [ASYNC] Processing of message is skipped, task not ready");
    product_.enabled = true;
    processor.AddMessage(c_);
    WaitForLine("700 <= ProcessMessage", 4);
    EXPECT_THAT(product_.checked, ElementsAre(u"a", u"b", u"c", u"c"));
}

TEST_F(AsyncProcessorTest, StopsAfterTheMessageUnderCheckAndDropsTheOthers) {
    HoldChecks();
    AsyncProcessor processor(Environment());
    processor.PrepareStop();
    EXPECT_THAT(Lines(), ElementsAre("700 Default client is outlook",
                                     "700 Preparing to stop async processor thread...",
                                     "700 Async processor not started",
                                     "700 Stop of async processor thread prepared"));
    processor.Start();
    for (const auto& id : {a_, b_, c_}) processor.AddMessage(id);
    checking_.Wait();
    processor.PrepareStop();
    EXPECT_EQ(tracer_->Count("Async processor not started"), 1u);
    processor.AddMessage(b_);
    EXPECT_EQ(tracer_->lines().back(), "700 Async processor exiting, message not added to queue");
    const std::size_t from = tracer_->lines().size();
    std::thread end([this] {
        WaitForLine("700 Stopping async processor thread...");
        go_.Raise();
    });
    processor.Stop();
    end.join();
    processor.Stop();
    processor.AddMessage(c_);
    EXPECT_THROW(processor.Start(), vek::contract::RequireViolation);
    EXPECT_THAT(Lines(from),
                ElementsAre("700 Stopping async processor thread...", "700 <= ProcessMessage",
                            "700 [ASYNC] Async processor thread is waiting for events...",
                            "700 [ASYNC] Async processor thread exiting",
                            "700 Logoff background session. result: 0x00000000",
                            "700 Async processor thread stopped",
                            "700 Async processor thread already stopped",
                            "700 Async processor exiting, message not added to queue"));
    EXPECT_THAT(product_.checked, ElementsAre(u"a"));
}

TEST_F(AsyncProcessorTest, IsInertWhenMapiIsNotInitialized) {
    mapi_.faults().FailNth(outlook_call::kInitialize, 1, MAPI_E_NO_ACCESS);
    {
        AsyncProcessor processor(Environment());
        processor.Start();
        processor.AddMessage(a_);
    }
    EXPECT_THAT(
        Lines(),
        ElementsAre("700 Default client is outlook",
                    "300 [ASYNC] Failed to initialize MAPI. Error: 0x80070005",
                    "300 Failed to start async processor thread. MAPI EDK not initialized.",
                    "300 Failed to add message to async thread queue. MAPI EDK not initialized.",
                    "700 Stopping async processor thread...", "700 Async processor thread stopped",
                    "700 UninitializeMapi: MAPI EDK is not initialized"));
}

TEST_F(AsyncProcessorTest, WhatTheSystemRefusesIsRaised) {
    for (const int nth : {1, 2}) {
        system_.fail_new_event = nth;
        EXPECT_THROW(AsyncProcessor{Environment()}, helpers::HResultCodeException);
        EXPECT_EQ(mapi_.initializations(), 1);
    }
    AsyncProcessor processor(Environment());
    system_.fail_start_thread = 1;
    EXPECT_THROW(processor.Start(), helpers::HResultCodeException);
    processor.AddMessage(a_);
    processor.Start();
    WaitForLine("[ASYNC] Message queue is empty");
    system_.fail_set = 1;
    processor.PrepareStop();
    EXPECT_EQ(tracer_->Count("300 Failed set stop event. Error: 1450"), 1u);
}

TEST_F(AsyncProcessorTest, AThreadThatCannotGoOnSaysWhyAndTakesNoMoreMessages) {
    const struct {
        int failing_wait;
        WaitStatus status;
        std::string error;
        outlook_call failing_call = {};
    } kCases[] = {
        {1, WaitStatus::kFailed,
         "HResultCodeException - WaitForMultipleObjects HRESULT=0x800705aa"},
        {1, WaitStatus::kAbandoned,
         "HResultCodeException - WaitForMultipleObjects HRESULT=0x800702df"},
        {2, WaitStatus::kFailed, "HResultCodeException - HRESULT=0x800705aa"},
        {2, WaitStatus::kAbandoned, "HResultCodeException - HRESULT=0x80010106"},
        {0, {}, "HResultCodeException - HRESULT=0x80070005", outlook_call::kLogonEx},
        {0, {}, "[ASYNC] Failed to initialize MAPI. Error: 0x80070005", outlook_call::kInitialize}};
    for (const auto& row : kCases) {
        AsyncProcessor processor(Environment());
        processor.AddMessage(a_);
        system_.wait_failure = row.status;
        system_.fail_wait = row.failing_wait;
        if (row.failing_wait == 0) mapi_.faults().FailNth(row.failing_call, 1, MAPI_E_NO_ACCESS);
        processor.Start();
        const auto nth = static_cast<std::size_t>(&row - kCases) + 1;
        WaitForLine("700 [ASYNC] Async processor thread exiting", nth);
        WaitForLine(row.error);
        processor.AddMessage(b_);
        EXPECT_EQ(tracer_->Count("Async processor exiting"), nth) << "before anybody stops it";
        processor.Stop();
    }
    EXPECT_EQ(tracer_->Count("Logoff background session"), 4u);
    EXPECT_THAT(product_.checked, IsEmpty());
}

TEST_F(AsyncProcessorTest, AThreadThatCannotBeEndedByForceIsGivenUp) {
    HoldChecks();
    const AsyncEnvironment environment = Environment(20);
    {
        AsyncProcessor processor(environment);
        processor.AddMessage(a_);
        processor.Start();
        checking_.Wait();
        system_.fail_terminate = 1;
        try {
            processor.Stop();
            ADD_FAILURE() << "must raise";
        } catch (const helpers::HResultCodeException& exception) {
            EXPECT_EQ(exception.code(), tests::FaultySystem::kErrorHResult);
        }
        processor.Stop();
        EXPECT_EQ(tracer_->lines().back(), "700 Async processor thread already stopped");
    }
    go_.Raise();
    // What it works on is the thread's own now, until it ends.
    while (environment.settings.use_count() != 1) std::this_thread::yield();
    EXPECT_THAT(product_.checked, ElementsAre(u"a"));
}

TEST(MessageQueue, KeepsTheOrderAndRefusesWhatItHasOrHasNoRoomFor) {
    MessageQueue queue(2);
    EXPECT_TRUE(queue.Append(u"ab"));
    EXPECT_TRUE(queue.Append(u"AB"));
    EXPECT_FALSE(queue.Append(u"ab"));
    EXPECT_THROW(queue.Append(u"c"), std::length_error);
    EXPECT_EQ(queue.Take(), u"ab");
    EXPECT_TRUE(queue.Append(u"ab"));
    EXPECT_EQ(queue.Take(), u"AB");
    EXPECT_EQ(queue.Take(), u"ab");
    EXPECT_EQ(queue.Take(), std::nullopt);
}

}  // namespace
}  // namespace plugins::mail_processing
