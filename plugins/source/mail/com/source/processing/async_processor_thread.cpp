#include "processing/async_processor_thread.h"

#include <array>
#include <mutex>
#include <utility>

#include "processing/mapi_initialization.h"
#include "processing/waiting.h"
#include "vek/core/exception.h"
#include "vek/trace/traced_border.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;
using trace::level::kError;
using vek::platform::Event;
using vek::platform::EventKind;
using vek::platform::WaitStatus;

constexpr std::chrono::milliseconds kNoWait{0};

// How long a thread may take, before it is ended by force, to come to wait where it holds nothing.
constexpr std::chrono::milliseconds kParkTimeout{1000};

// A system ends a thread some time after it was told to.
constexpr std::chrono::milliseconds kForcedEndTimeout{1000};

void TrySignal(Event& event, const trace::TracerPtr& tracer, std::string_view failure) noexcept {
    if (const auto error = event.Set(); error != vek::platform::system_error::kNone) {
        trace::Write(tracer, kError, failure, ". Error: ", error);
    }
}

}  // namespace

// While it lives, its message is the one that is being checked.
class AsyncWork::CurrentMessage {
public:
    CurrentMessage(AsyncWork& work, QueuedMessage message) : work_(work) {
        work_.current_number_ = message.number;
        const std::lock_guard guard(work_.current_lock_);
        work_.current_entry_id_ = std::move(message.entry_id);
    }
    ~CurrentMessage() {
        work_.current_number_ = 0;
        const std::lock_guard guard(work_.current_lock_);
        work_.current_entry_id_.clear();
    }
    CurrentMessage(const CurrentMessage&) = delete;
    CurrentMessage& operator=(const CurrentMessage&) = delete;

    // Reads without the lock, on the thread that alone writes.
    ObservedCheck check() const noexcept {
        return {work_.current_number_, work_.current_entry_id_};
    }

private:
    AsyncWork& work_;
};

// Sees to it, however the thread ends, that nothing more is queued and that its session ends.
class AsyncWork::ThreadEnd {
public:
    explicit ThreadEnd(AsyncWork& work) noexcept : work_(work) {}
    ~ThreadEnd() {
        work_.SignalStop();
        trace::Write(work_.tracer_, kDetail, "[ASYNC] Async processor thread exiting");
        trace::TracedBorder(work_.tracer_, [this] { work_.processor_->LogoffBackgroundSession(); });
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
      observer_(environment.observer),
      event_wait_(environment.event_wait),
      stop_(NewEvent(system_, EventKind::kManualReset)),
      new_message_(NewEvent(system_, EventKind::kAutoReset)) {}

void AsyncWork::Add(std::u16string_view entry_id) {
    PendingCheck message(observer_, entry_id);
    if (IsStopping()) {
        trace::Write(tracer_, kDetail, "Async processor exiting, message not added to queue");
        return message.Skip(SkipReason::kClosing);
    }
    trace::Write(tracer_, kDetail, "Adding message to queue...");
    bool is_current = false;
    {
        const std::lock_guard guard(current_lock_);
        is_current = entry_id == current_entry_id_;
    }
    if (is_current) {
        trace::Write(tracer_, kDetail, "Message is being processed now. Skip add to queue");
        return message.Skip(SkipReason::kInBackground);
    }
    const std::lock_guard guard(queue_lock_);
    if (!queue_.Append(entry_id, message.check().number)) {
        trace::Write(tracer_, kDetail, "Message is already present in queue");
        return message.Skip(SkipReason::kAlreadyQueued);
    }
    trace::Write(tracer_, kDetail, "Message is added to queue, queue now contains ", queue_.size(),
                 " messages");
    // Told with the lock held, so before the thread takes the message and begins with it.
    observer_.OnQueued(message.HandOn());
    // Unsignalled it still waits in the queue, and is taken with the next one.
    TrySignal(*new_message_, tracer_, "Failed set new message event");
}

std::u16string AsyncWork::CurrentEntryId() const {
    const std::lock_guard guard(current_lock_);
    return current_entry_id_;
}

void AsyncWork::SignalStop() noexcept { TrySignal(*stop_, tracer_, "Failed set stop event"); }

bool AsyncWork::IsStopping() const noexcept {
    return abandoned_ || WaitForOne(system_, *stop_, kNoWait) == WaitStatus::kSignalled;
}

void AsyncWork::Abandon() noexcept {
    abandoned_ = true;
    processor_->CloseBackgroundChecks();
}

void AsyncWork::ThreadIsGone() noexcept {
    processor_->BackgroundThreadIsGone();
    {
        const std::lock_guard guard(current_lock_);
        current_entry_id_.clear();
    }
    if (const check_number_t number = current_number_.exchange(0); number != 0)
        observer_.OnEnded({number}, vek::result::kUnspecifiedError);
}

void AsyncWork::DropQueue() noexcept {
    const std::lock_guard guard(queue_lock_);
    while (const auto message = queue_.Take())
        observer_.OnSkipped({message->number, message->entry_id}, SkipReason::kClosing,
                            vek::result::kOk);
}

void AsyncWork::Run() noexcept {
    const MapiInitialization mapi(functions_, registry_, tracer_);
    const ThreadEnd end(*this);
    if (FAILED(mapi.result())) return;
    trace::TracedBorder(tracer_, [this] {
        processor_->LogonBackgroundSession();
        Serve();
    });
}

void AsyncWork::Serve() {
    const std::array<Event*, 2> events{stop_.get(), new_message_.get()};
    for (;;) {
        trace::Write(tracer_, kDetail, "[ASYNC] Async processor thread is waiting for events...");
        if (WaitForSeveral(system_, events) == 0) return;
        Drain();
    }
}

void AsyncWork::Drain() {
    while (!StopIsSignalled()) {
        std::optional<QueuedMessage> message = TakeMessage();
        if (!message) return;
        Process(*std::move(message));
    }
}

bool AsyncWork::StopIsSignalled() const {
    const WaitStatus status = WaitForOne(system_, *stop_, kNoWait);
    if (status != WaitStatus::kSignalled && status != WaitStatus::kTimeout)
        helpers::ThrowHResult(FailedWaitCode(status));
    return status == WaitStatus::kSignalled;
}

std::optional<QueuedMessage> AsyncWork::TakeMessage() {
    std::optional<QueuedMessage> message;
    std::size_t remaining = 0;
    {
        const std::lock_guard guard(queue_lock_);
        message = queue_.Take();
        remaining = queue_.size();
    }
    if (!message) {
        trace::Write(tracer_, kDetail, "[ASYNC] Message queue is empty");
    } else {
        trace::Write(tracer_, kDetail, "[ASYNC] Processing message from queue, ", remaining,
                     " messages remain...");
    }
    return message;
}

// A failure costs this message its check and no other.
void AsyncWork::Process(QueuedMessage message) noexcept {
    const CurrentMessage current(*this, std::move(message));
    PendingCheck pending(observer_, current.check());
    const vek::result_t code = trace::TracedBorder(tracer_, [&] {
        const vek::remoting::EventScope event(event_wait_);
        settings_->Refresh();
        if (settings_->IsPluginEnabled()) {
            const ObservedCheck& check = pending.HandOn();
            processor_->ProcessMessageByEntryId(check.entry_id, check.number);
        } else {
            trace::Write(tracer_, kDetail,
                         "[ASYNC] Processing of message is skipped, task not ready");
            pending.Skip(SkipReason::kPluginDisabled);
        }
    });
    if (vek::Failed(code)) pending.Skip(SkipReason::kFailed, code);
}

AsyncProcessorThread::AsyncProcessorThread(std::shared_ptr<AsyncWork> work,
                                           vek::platform::System& system, trace::TracerPtr tracer,
                                           std::chrono::milliseconds stop_timeout)
    : work_(std::move(work)),
      system_(system),
      tracer_(std::move(tracer)),
      stop_timeout_(stop_timeout) {}

void AsyncProcessorThread::Start() {
    if (IsStarted()) {
        throw vek::contract::RequireViolation(
            vek::SourceLocation::Here(),
            vek::wide_string_t(u"the async processor thread is not started"));
    }
    thread_ = system_.StartThread([work = work_] { work->Run(); });
    if (!IsStarted()) helpers::ThrowLastError();
}

bool AsyncProcessorThread::Stop() {
    work_->SignalStop();
    const auto thread = std::move(thread_);
    if (thread == nullptr || thread->Wait(stop_timeout_) == WaitStatus::kSignalled) return true;

    trace::Write(tracer_, kError,
                 "Unable to stop async processor thread, thread should be terminated");
    work_->Abandon();
    if (thread->Wait(kParkTimeout) == WaitStatus::kSignalled) return true;
    if (const auto error = thread->Terminate(); error != vek::platform::system_error::kNone) {
        helpers::ThrowHResult(helpers::HResultFromWin32(error));
    }
    thread->Wait(kForcedEndTimeout);
    work_->ThreadIsGone();
    return false;
}

}  // namespace plugins::mail_processing
