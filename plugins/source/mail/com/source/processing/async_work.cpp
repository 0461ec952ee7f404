#include "processing/async_work.h"

#include <array>
#include <mutex>
#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "processing/mapi_initialization.h"
#include "processing/wait_errors.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;
using trace::level::kError;
using vek::platform::Event;
using vek::platform::EventKind;
using vek::platform::WaitResult;
using vek::platform::WaitStatus;

std::unique_ptr<Event> NewEvent(vek::platform::System& system, EventKind kind) {
    auto event = system.NewEvent(kind);
    if (event == nullptr) helpers::ThrowLastError();
    return event;
}

WaitStatus Test(vek::platform::System& system, Event& event) noexcept {
    const std::array<Event*, 1> one{&event};
    return system.WaitAny(one, std::chrono::milliseconds{0}).status;
}

void Signal(Event& event, const trace::TracerPtr& tracer, std::string_view failure) noexcept {
    if (const auto error = event.Set(); error != vek::platform::system_error::kNone) {
        trace::Write(tracer, kError, failure, ". Error: ", error);
    }
}

}  // namespace

// Makes a message the one that is being checked, for as long as this lives.
class AsyncWork::CurrentMessage {
public:
    CurrentMessage(AsyncWork& work, std::u16string entry_id) : work_(work) {
        const std::lock_guard guard(work_.current_lock_);
        work_.current_entry_id_ = std::move(entry_id);
    }
    ~CurrentMessage() {
        const std::lock_guard guard(work_.current_lock_);
        work_.current_entry_id_.clear();
    }
    CurrentMessage(const CurrentMessage&) = delete;
    CurrentMessage& operator=(const CurrentMessage&) = delete;

    // To be read without the lock by the thread that alone writes it.
    std::u16string_view entry_id() const noexcept { return work_.current_entry_id_; }

private:
    AsyncWork& work_;
};

// However the thread ends: nothing is queued for it any more, and its session ends as well.
class AsyncWork::ThreadEnd {
public:
    explicit ThreadEnd(AsyncWork& work) noexcept : work_(work) {}
    ~ThreadEnd() {
        work_.SignalStop();
        trace::Write(work_.tracer_, kDetail, "[ASYNC] Async processor thread exiting");
        try {
            work_.processor_->LogoffBackgroundSession();
        } catch (...) {
            trace::WriteCurrentException(work_.tracer_);
        }
    }
    ThreadEnd(const ThreadEnd&) = delete;
    ThreadEnd& operator=(const ThreadEnd&) = delete;

private:
    AsyncWork& work_;
};

AsyncWork::AsyncWork(const AsyncEnvironment& environment)
    : settings_(environment.settings),
      processor_(environment.processor),
      functions_(environment.functions),
      registry_(environment.registry),
      system_(environment.system),
      tracer_(environment.tracer),
      stop_(NewEvent(system_, EventKind::kManualReset)),
      new_message_(NewEvent(system_, EventKind::kAutoReset)) {}

void AsyncWork::Add(std::u16string_view entry_id) {
    if (IsStopping()) {
        trace::Write(tracer_, kDetail, "Async processor exiting, message not added to queue");
        return;
    }
    trace::Write(tracer_, kDetail, "Adding message to queue...");
    bool is_current = false;
    {
        const std::lock_guard guard(current_lock_);
        is_current = entry_id == current_entry_id_;
    }
    if (is_current) {
        trace::Write(tracer_, kDetail, "Message is being processed now. Skip add to queue");
        return;
    }
    const std::lock_guard guard(queue_lock_);
    if (!queue_.Append(entry_id)) {
        trace::Write(tracer_, kDetail, "Message is already present in queue");
        return;
    }
    trace::Write(tracer_, kDetail, "Message is added to queue, queue now contains ", queue_.size(),
                 " messages");
    // Unsignalled it still waits in the queue, and is taken with the next one.
    Signal(*new_message_, tracer_, "Failed set new message event");
}

std::u16string AsyncWork::CurrentEntryId() const {
    if (abandoned_) return {};
    const std::lock_guard guard(current_lock_);
    return current_entry_id_;
}

void AsyncWork::SignalStop() noexcept { Signal(*stop_, tracer_, "Failed set stop event"); }

bool AsyncWork::IsStopping() const noexcept {
    return abandoned_ || Test(system_, *stop_) == WaitStatus::kSignalled;
}

void AsyncWork::Run() noexcept {
    const MapiInitialization mapi(functions_, registry_, tracer_);
    const ThreadEnd end(*this);
    if (FAILED(mapi.result())) return;
    try {
        processor_->LogonBackgroundSession();
        Serve();
    } catch (...) {
        trace::WriteCurrentException(tracer_);
    }
}

void AsyncWork::Serve() {
    const std::array<Event*, 2> events{stop_.get(), new_message_.get()};
    for (;;) {
        trace::Write(tracer_, kDetail, "[ASYNC] Async processor thread is waiting for events...");
        const WaitResult wait = system_.WaitAny(events, vek::platform::kInfinite);
        if (wait.status != WaitStatus::kSignalled) {
            const auto error =
                wait.status == WaitStatus::kAbandoned ? kAbandonedWait : vek::platform::LastError();
            throw helpers::HResultCodeException(vek::SourceLocation::Here(),
                                                helpers::HResultFromWin32(error),
                                                vek::wide_string_t(u"WaitForMultipleObjects"));
        }
        if (wait.index == 0) return;
        Drain();
    }
}

void AsyncWork::Drain() {
    while (!StopIsSignalled()) {
        std::optional<std::u16string> entry_id = TakeMessage();
        if (!entry_id) return;
        Process(std::move(*entry_id));
    }
}

bool AsyncWork::StopIsSignalled() const {
    switch (Test(system_, *stop_)) {
        case WaitStatus::kSignalled:
            return true;
        case WaitStatus::kTimeout:
            return false;
        case WaitStatus::kAbandoned:
            helpers::ThrowHResult(kSingleWaitAbandoned);
        default:
            helpers::ThrowLastError();
    }
}

std::optional<std::u16string> AsyncWork::TakeMessage() {
    std::optional<std::u16string> entry_id;
    std::size_t remaining = 0;
    {
        const std::lock_guard guard(queue_lock_);
        entry_id = queue_.Take();
        remaining = queue_.size();
    }
    if (!entry_id) {
        trace::Write(tracer_, kDetail, "[ASYNC] Message queue is empty");
    } else {
        trace::Write(tracer_, kDetail, "[ASYNC] Processing message from queue, ", remaining,
                     " messages remain...");
    }
    return entry_id;
}

// Whatever goes wrong costs this message its check and no other.
void AsyncWork::Process(std::u16string entry_id) noexcept {
    const CurrentMessage current(*this, std::move(entry_id));
    try {
        settings_->Refresh();
        if (!settings_->IsPluginEnabled()) {
            trace::Write(tracer_, kDetail,
                         "[ASYNC] Processing of message is skipped, task not ready");
            return;
        }
        processor_->ProcessMessageByEntryId(current.entry_id());
    } catch (...) {
        trace::WriteCurrentException(tracer_);
    }
}

}  // namespace plugins::mail_processing
