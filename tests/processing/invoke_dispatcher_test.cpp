#include "processing/invoke_dispatcher.h"

#include <gmock/gmock.h>

#include <functional>
#include <optional>
#include <thread>

#include "internal/helpers/hresult_exception.h"
#include "mapi/mapi_interfaces.h"
#include "tests/support/faulty_system.h"
#include "tests/support/recording_tracer.h"
#include "vek/core/throw.h"
#include "vek/platform/flag.h"

namespace plugins::mail_processing {
namespace {

using ::testing::HasSubstr;
using vek::platform::EventKind;
using vek::platform::WaitStatus;

class InvokeDispatcherTest : public ::testing::Test {
protected:
    // Serves on this thread while `caller` runs on another, which then ends the serving.
    void ServeWhile(const std::function<void()>& caller) {
        std::thread thread([&] {
            caller();
            done_->Set();
        });
        struct Join {
            std::thread& thread;
            ~Join() { thread.join(); }
        } const join{thread};
        dispatcher_.Serve(*done_);
    }

    tests::FaultySystem system_;
    std::shared_ptr<tests::RecordingTracer> tracer_ = std::make_shared<tests::RecordingTracer>();
    std::unique_ptr<vek::platform::Event> done_ = system_.NewEvent(EventKind::kAutoReset);
    InvokeDispatcher dispatcher_{tracer_, system_};
};

TEST_F(InvokeDispatcherTest, RunsCallsOnTheOwnerOneAtATime) {
    const auto owner = std::this_thread::get_id();
    int calls = 0;  // unguarded: the dispatcher is to serialise
    ServeWhile([&] {
        std::vector<std::thread> callers;
        const auto call = [&] {
            EXPECT_EQ(std::this_thread::get_id(), owner);
            ++calls;
        };
        for (int i = 0; i < 4; ++i)
            callers.emplace_back([&] {
                for (int k = 0; k < 250; ++k) EXPECT_EQ(dispatcher_.Invoke(call), vek::result::kOk);
            });
        for (auto& caller : callers) caller.join();
    });
    EXPECT_EQ(calls, 1000);
    EXPECT_EQ(dispatcher_.Invoke([&] { ++calls; }), vek::result::kOk) << "the owner's own";
    EXPECT_EQ(calls, 1001);
}

TEST_F(InvokeDispatcherTest, GivesTheCodeOfWhatACallRaises) {
    const struct {
        std::function<void()> call;
        vek::result_t result;
        const char* line;
    } cases[] = {
        {[] { helpers::ThrowHResult(MAPI_E_NOT_FOUND); }, vek::result::kPropertyNotFound,
         "500 MAPI_E_NOT_FOUND attests/processing/invoke_dispatcher_test.cpp line"},
        {[] { helpers::ThrowHResult(MAPI_E_NO_ACCESS); }, 0x80070005,
         "300 HResultCodeException - HRESULT=0x80070005"},
        {[] { throw std::bad_alloc(); }, vek::result::kOutOfMemory, "300 std::bad_alloc"},
        {[] { throw 1; }, vek::result::kUnknownException, "300 Unknown exception"},
    };
    ServeWhile([&] {
        for (const auto& each : cases) EXPECT_EQ(dispatcher_.Invoke(each.call), each.result);
        EXPECT_EQ(dispatcher_.Invoke([] {}), vek::result::kOk) << "after failures";
    });
    const auto lines = tracer_->lines();
    ASSERT_EQ(lines.size(), std::size(cases));
    for (std::size_t i = 0; i < lines.size(); ++i) EXPECT_THAT(lines[i], HasSubstr(cases[i].line));
}

TEST_F(InvokeDispatcherTest, DoneWinsOverAWaitingCallWhichIsAnsweredWithAFailure) {
    done_->Set();
    std::optional<vek::result_t> result;
    bool ran = false;
    std::thread caller([&] { result = dispatcher_.Invoke([&] { ran = true; }); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // lets it wait, mostly
    dispatcher_.Serve(*done_);
    caller.join();
    EXPECT_EQ(result, vek::result::kUnspecifiedError);
    std::thread([&] {
        EXPECT_EQ(dispatcher_.Invoke([&] { ran = true; }), vek::result::kUnspecifiedError);
    }).join();
    EXPECT_FALSE(ran);
}

TEST_F(InvokeDispatcherTest, StopEndsServingWhereDoneCannotBeSignalled) {
    std::thread stopper([&] { dispatcher_.Stop(); });
    dispatcher_.Serve(*done_);
    stopper.join();
}

TEST_F(InvokeDispatcherTest, AnOwnerThatIsGoneAnswersNobodyNotEvenFromWithinACall) {
    vek::platform::Flag left;
    const auto call = [&] {
        dispatcher_.OwnerIsGone();
        left.Wait();
    };
    ServeWhile([&] {
        EXPECT_EQ(dispatcher_.Invoke(call), vek::result::kUnspecifiedError);
        left.Raise();
    });
    EXPECT_EQ(dispatcher_.Invoke([] { ADD_FAILURE(); }), vek::result::kUnspecifiedError)
        << "on another thread that has its id";
}

TEST_F(InvokeDispatcherTest, AFailingHandOverRaisesInTheCaller) {
    const auto code_of_invoke = [&]() -> std::uint32_t {
        try {
            return dispatcher_.Invoke([] {});
        } catch (const helpers::HResultCodeException& exception) {
            return exception.code();
        }
    };
    ServeWhile([&] {
        system_.fail_set = 1;
        EXPECT_EQ(code_of_invoke(), tests::FaultySystem::kErrorHResult);
        EXPECT_EQ(code_of_invoke(), vek::result::kOk) << "the next call works";
    });
}

TEST_F(InvokeDispatcherTest, AFailingWaitForTheReplyLeavesNoCallBehind) {
    for (const auto& [status, code] :
         {std::pair{WaitStatus::kFailed, tests::FaultySystem::kErrorHResult},
          std::pair{WaitStatus::kAbandoned, std::uint32_t{0x80010106}}}) {
        tests::FaultySystem owner_system;
        InvokeDispatcher dispatcher(tracer_, owner_system);
        const auto done = owner_system.NewEvent(EventKind::kAutoReset);
        std::uint32_t seen = 0;
        int ran = 0;
        std::thread caller([&] {
            owner_system.wait_failure = status;
            owner_system.fail_wait = 1;  // the owner does not wait yet
            try {
                dispatcher.Invoke([&] { ++ran; });
            } catch (const helpers::HResultCodeException& exception) {
                seen = exception.code();
            }
        });
        caller.join();
        EXPECT_EQ(seen, code);
        std::thread next([&] {
            EXPECT_EQ(dispatcher.Invoke([&] { ran += 10; }), vek::result::kOk);
            done->Set();
        });
        dispatcher.Serve(*done);
        next.join();
        EXPECT_EQ(ran, 10) << "the abandoned call must not run";
    }
}

TEST_F(InvokeDispatcherTest, AFailingWaitOfTheOwnerRaisesThere) {
    for (const auto& [status, code] :
         {std::pair{WaitStatus::kFailed, tests::FaultySystem::kErrorHResult},
          std::pair{WaitStatus::kAbandoned, std::uint32_t{0x800702DF}}}) {
        system_.wait_failure = status;
        system_.fail_wait = 1;
        try {
            dispatcher_.Serve(*done_);
            ADD_FAILURE() << "must raise";
        } catch (const helpers::HResultCodeException& exception) {
            EXPECT_EQ(exception.code(), code);
            EXPECT_THAT(vek::NarrowDisplayText(exception),
                        HasSubstr("WaitForMultipleObjects HRESULT=0x"));
            EXPECT_THAT(exception.place().file, HasSubstr("invoke_dispatcher"));
        }
    }
}

TEST_F(InvokeDispatcherTest, AReplyThatCannotBeSignalledRaisesInTheOwnerAndAnswersTheCaller) {
    std::optional<vek::result_t> result;
    std::thread caller([&] { result = dispatcher_.Invoke([&] { system_.fail_set = 1; }); });
    EXPECT_THROW(dispatcher_.Serve(*done_), helpers::HResultCodeException);
    caller.join();
    EXPECT_EQ(result, vek::result::kOk) << "the call had run";
}

}  // namespace
}  // namespace plugins::mail_processing
