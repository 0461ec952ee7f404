#include "processing/invoke_dispatcher.h"

#include <array>
#include <thread>
#include <utility>

#include "mapi/mapi_interfaces.h"
#include "processing/waiting.h"
#include "vek/core/current_exception.h"
#include "vek/core/throw.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {

using vek::platform::Event;
using vek::platform::EventKind;
using vek::platform::WaitStatus;

InvokeDispatcher::InvokeDispatcher(vek::trace::TracerPtr tracer, vek::platform::System& system)
    : tracer_(std::move(tracer)),
      system_(system),
      request_(NewEvent(system, EventKind::kAutoReset)),
      reply_(NewEvent(system, EventKind::kAutoReset)),
      owner_(vek::platform::CurrentThreadId()) {}

vek::result_t InvokeDispatcher::Invoke(vek::FunctionRef<void()> call) {
    // The id alone does not tell: a system gives the id of an ended thread to another.
    if (ended_) return vek::result::kUnspecifiedError;
    if (vek::platform::CurrentThreadId() == owner_) return Run(call);

    const std::lock_guard turn(callers_);
    pending_ = &call;
    slot_ = Slot::kPending;

    // Close sets closed_ before it signals the reply: either it is seen here, or the wait below is
    // ended by it.
    if (closed_) {
        Withdraw();
        return vek::result::kUnspecifiedError;
    }
    if (const auto error = request_->Set(); error != vek::platform::system_error::kNone) {
        Withdraw();
        helpers::ThrowHResult(helpers::HResultFromWin32(error));
    }
    for (;;) {
        const WaitStatus wait = WaitForOne(system_, *reply_, vek::platform::kInfinite);
        if (wait != WaitStatus::kSignalled) {
            const auto code = FailedWaitCode(wait);
            Withdraw();
            helpers::ThrowHResult(code);
        }
        if (slot_ == Slot::kAnswered) return result_;
        // The reply to an earlier call whose caller could not wait for it.
        if (!closed_) continue;
        Slot expected = Slot::kPending;
        if (slot_.compare_exchange_strong(expected, Slot::kEmpty) || ended_)
            return vek::result::kUnspecifiedError;
        // The owner is in the call: it will answer, or OwnerIsGone.
    }
}

void InvokeDispatcher::Withdraw() noexcept {
    Slot expected = Slot::kPending;
    if (slot_.compare_exchange_strong(expected, Slot::kEmpty)) return;
    // The owner is in the call, which refers to the caller's frame; one that is gone stays there.
    while (slot_ == Slot::kRunning && !ended_) std::this_thread::yield();
}

vek::result_t InvokeDispatcher::Run(vek::FunctionRef<void()> call) noexcept {
    try {
        call();
        return vek::result::kOk;
    } catch (...) {
        return Report();
    }
}

vek::result_t InvokeDispatcher::Report() noexcept {
    try {
        throw;
    } catch (const helpers::HResultCodeException& exception) {
        if (static_cast<HRESULT>(exception.code()) == MAPI_E_NOT_FOUND) {
            vek::trace::Write(tracer_, vek::trace::level::kWarning, "MAPI_E_NOT_FOUND at",
                              exception.location().file, " line", exception.location().line);
            return vek::result::kPropertyNotFound;
        }
    } catch (...) {  // reported below, as the others are
    }
    vek::trace::WriteCurrentException(tracer_);
    return vek::CurrentExceptionResult();
}

void InvokeDispatcher::Serve(Event& done) {
    struct Leave {
        InvokeDispatcher& dispatcher;
        ~Leave() { dispatcher.Close(); }
    } const leave{*this};

    const std::array<Event*, 2> events{&done, request_.get()};
    for (;;) {
        if (WaitForSeveral(system_, events) == 0 || stopped_) return;
        Slot expected = Slot::kPending;
        if (!slot_.compare_exchange_strong(expected, Slot::kRunning)) continue;
        result_ = closed_ ? vek::result::kUnspecifiedError : Run(*pending_);
        slot_ = Slot::kAnswered;
        Signal(*reply_);
    }
}

void InvokeDispatcher::End() noexcept {
    ReleaseAll();
    ended_ = true;
}

void InvokeDispatcher::OwnerIsGone() noexcept {
    ended_ = true;
    Close();
}

void InvokeDispatcher::Stop() noexcept {
    stopped_ = true;
    request_->Set();
}

void InvokeDispatcher::Close() noexcept {
    closed_ = true;
    reply_->Set();
}

}  // namespace plugins::mail_processing
