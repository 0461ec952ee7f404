#include "processing/invoke_dispatcher.h"

#include <gmock/gmock.h>

#include <functional>
#include <optional>
#include <thread>

#include "internal/helpers/hresult_exception.h"
#include "mapi/mapi_interfaces.h"
#include "tests/support/faulty_system.h"
#include "tests/support/recording_tracer.h"
#include "vek/platform/flag.h"

namespace plugins::mail_processing {
namespace {

using ::testing::HasSubstr;
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
    std::uint32_t CodeOf(const std::function<void()>& body) {
        try {
            body();
            return 0;
        } catch (const helpers::HResultCodeException& exception) {
            place_ = exception.location().file;
            return exception.code();
        }
    }

    tests::FaultySystem system_;
    std::shared_ptr<tests::RecordingTracer> tracer_ = std::make_shared<tests::RecordingTracer>();
    std::unique_ptr<vek::platform::Event> done_ = system_.NewEvent(EventKind::kAutoReset);
    InvokeDispatcher dispatcher_{tracer_, system_};
    std::string place_;
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
        const char* line;
    } cases[] = {{[] { helpers::ThrowHResult(MAPI_E_NOT_FOUND); }, result::kPropertyNotFound,
                  "500 MAPI_E_NOT_FOUND attests/processing/invoke_dispatcher_test.cpp line"},
                 {[] { helpers::ThrowHResult(MAPI_E_NO_ACCESS); }, 0x80070005,
                  "300 HResultCodeException - HRESULT=0x80070005"},
                 {[] { throw std::bad_alloc(); }, result::kOutOfMemory, "300 std::bad_alloc"},
                 {[] { throw 1; }, result::kUnknownException, "300 Unknown exception"}};
    ServeWhile([&] {
        for (const auto& each : cases) EXPECT_EQ(dispatcher_.Invoke(each.call), each.result);
        EXPECT_EQ(dispatcher_.Invoke([] {}), result::kOk) << "after failures";
    });
    const auto lines = tracer_->lines();
    ASSERT_EQ(lines.size(), std::size(cases));
    for (std::size_t i = 0; i < lines.size(); ++i) EXPECT_THAT(lines[i], HasSubstr(cases[i].line));
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
    const struct {
        std::atomic<int> tests::FaultySystem::*fail;
        WaitStatus status;
        std::uint32_t code;
    } kCases[] = {
        {&tests::FaultySystem::fail_set, {}, tests::FaultySystem::kErrorHResult},
        {&tests::FaultySystem::fail_wait, WaitStatus::kFailed, tests::FaultySystem::kErrorHResult},
        {&tests::FaultySystem::fail_wait, WaitStatus::kAbandoned, 0x80010106}};
    for (const auto& row : kCases) {
        InvokeDispatcher dispatcher(tracer_, system_);
        std::thread([&] {  // the owner does not wait yet
            system_.wait_failure = row.status;
            system_.*row.fail = 1;
            EXPECT_EQ(CodeOf([&] { dispatcher.Invoke([] { ADD_FAILURE(); }); }), row.code);
        })
            .join();
        int ran = 0;
        std::thread next([&] {
            EXPECT_EQ(dispatcher.Invoke([&] { ++ran; }), result::kOk);
            done_->Set();
        });
        dispatcher.Serve(*done_);
        next.join();
        EXPECT_EQ(ran, 1);
    }
}

TEST_F(InvokeDispatcherTest, RaisesWhatFailsForTheOwner) {
    for (const auto& [status, code] :
         {std::pair{WaitStatus::kFailed, tests::FaultySystem::kErrorHResult},
          std::pair{WaitStatus::kAbandoned, std::uint32_t{0x800702DF}}}) {
        system_.wait_failure = status;
        system_.fail_wait = 1;
        EXPECT_EQ(CodeOf([&] { dispatcher_.Serve(*done_); }), code);
        EXPECT_THAT(place_, HasSubstr("invoke_dispatcher"));
    }
    // A reply that cannot be signalled; the call has run, and its caller is answered.
    InvokeDispatcher dispatcher(tracer_, system_);
    std::thread caller(
        [&] { EXPECT_EQ(dispatcher.Invoke([&] { system_.fail_set = 1; }), result::kOk); });
    EXPECT_EQ(CodeOf([&] { dispatcher.Serve(*done_); }), tests::FaultySystem::kErrorHResult);
    caller.join();
}

}  // namespace
}  // namespace plugins::mail_processing
