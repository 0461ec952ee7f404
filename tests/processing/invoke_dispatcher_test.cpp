#include "processing/invoke_dispatcher.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "internal/helpers/hresult_exception.h"
#include "mapi/mapi_interfaces.h"
#include "tests/support/faulty_system.h"
#include "tests/support/recording_tracer.h"
#include "vek/platform/flag.h"

namespace plugins::mail_processing {
namespace {

using vek::platform::EventKind;
using vek::platform::WaitStatus;
namespace result = vek::result;

class InvokeDispatcherTest : public ::testing::Test {
protected:
    // Serves on this thread while `caller` runs on another, which then ends the serving.
    void ServeWhile(const std::function<void()>& caller) {
        std::thread thread([&] {
            caller();
            done_->Set();
        });
        dispatcher_.Serve(*done_);
        thread.join();
    }
    static std::uint32_t CodeOf(const std::function<void()>& body) {
        try {
            return body(), 0;
        } catch (const helpers::HResultCodeException& exception) {
            return exception.code();
        }
    }

    tests::FaultySystem system_;
    std::shared_ptr<tests::RecordingTracer> tracer_ = std::make_shared<tests::RecordingTracer>();
    std::unique_ptr<vek::platform::Event> done_ = system_.NewEvent(EventKind::kAutoReset);
    InvokeDispatcher dispatcher_{tracer_, system_};
};

TEST_F(InvokeDispatcherTest, RunsCallsOnTheOwnerOneAtATime) {
    const auto owner = std::this_thread::get_id();
    int calls = 0;  // unguarded: the dispatcher is to serialise
    const auto call = [&] {
        EXPECT_EQ(std::this_thread::get_id(), owner);
        ++calls;
    };
    ServeWhile([&] {
        std::vector<std::thread> callers;
        for (int i = 0; i < 4; ++i)
            callers.emplace_back([&] {
                for (int k = 0; k < 250; ++k) EXPECT_EQ(dispatcher_.Invoke(call), result::kOk);
            });
        for (auto& caller : callers) caller.join();
    });
    EXPECT_EQ(dispatcher_.Invoke(call), result::kOk) << "the owner's own";
    EXPECT_EQ(calls, 1001);
}

TEST_F(InvokeDispatcherTest, GivesTheCodeOfWhatACallRaises) {
    const struct {
        std::function<void()> call;
        vek::result_t result;
    } cases[] = {
        {[] { helpers::ThrowHResult(MAPI_E_NOT_FOUND); }, result::kPropertyNotFound},
        {[] { helpers::ThrowHResult(MAPI_E_NO_ACCESS); }, 0x80070005},
        {[] { throw std::bad_alloc(); }, result::kOutOfMemory},
        {[] { throw 1; }, result::kUnknownException},
        {[] {}, result::kOk},
    };
    ServeWhile([&] {
        for (const auto& each : cases) EXPECT_EQ(dispatcher_.Invoke(each.call), each.result);
    });
    EXPECT_EQ(tracer_->Count("500 MAPI_E_NOT_FOUND at"), 1u);
    EXPECT_EQ(tracer_->Count("300 "), 3u) << "the other failures";
}

TEST_F(InvokeDispatcherTest, AnswersAFailureToCallsThatTheOwnerHasNotBegunWhenItLeaves) {
    const auto refused = [&] {
        EXPECT_EQ(dispatcher_.Invoke([] { ADD_FAILURE(); }), result::kUnspecifiedError);
    };
    done_->Set();
    std::thread waiting(refused);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // lets it wait, mostly
    dispatcher_.Serve(*done_);
    waiting.join();
    std::thread(refused).join();
}

TEST_F(InvokeDispatcherTest, ClosedWithinACallAnswersItAndBeginsNoOther) {
    int ran = 0;
    ServeWhile([&] {
        const auto call = [&] { dispatcher_.Close(), ++ran; };
        EXPECT_EQ(dispatcher_.Invoke(call), result::kOk);
        EXPECT_EQ(dispatcher_.Invoke(call), result::kUnspecifiedError);
    });
    EXPECT_EQ(ran, 1);
}

TEST_F(InvokeDispatcherTest, AnOwnerThatIsGoneAnswersNobodyNotEvenFromWithinACall) {
    vek::platform::Flag left;
    const auto call = [&] {
        dispatcher_.OwnerIsGone();
        left.Wait();
    };
    ServeWhile([&] {
        EXPECT_EQ(dispatcher_.Invoke(call), result::kUnspecifiedError);
        left.Raise();
    });
    EXPECT_EQ(dispatcher_.Invoke([] { ADD_FAILURE(); }), result::kUnspecifiedError)
        << "on another thread that has its id";
}

TEST_F(InvokeDispatcherTest, RaisesAFailingHandOverInTheCallerAndLeavesNoCallBehind) {
    using System = tests::FaultySystem;
    const struct {
        std::atomic<int> System::*fail;
        WaitStatus status;
        std::uint32_t code;
    } kCases[] = {{&System::fail_set, {}, System::kErrorHResult},
                  {&System::fail_wait, WaitStatus::kFailed, System::kErrorHResult},
                  {&System::fail_wait, WaitStatus::kAbandoned, 0x80010106}};
    for (const auto& row : kCases) {
        InvokeDispatcher dispatcher(tracer_, system_);
        vek::platform::Flag may_serve;
        int ran = 0;
        std::thread caller([&] {
            system_.wait_failure = row.status;
            system_.*row.fail = 1;  // the owner does not wait yet
            EXPECT_EQ(CodeOf([&] { dispatcher.Invoke([] { ADD_FAILURE(); }); }), row.code);
            may_serve.Raise();
            EXPECT_EQ(dispatcher.Invoke([&] { ++ran; }), result::kOk);
            done_->Set();
        });
        may_serve.Wait();
        dispatcher.Serve(*done_);
        caller.join();
        EXPECT_EQ(ran, 1);
    }
}

}  // namespace
}  // namespace plugins::mail_processing
