#include "processing/async_processor_thread.h"

#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "vek/core/exception.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using vek::platform::WaitStatus;

// A system ends a thread some time after it was told to.
constexpr std::chrono::milliseconds kForcedEndTimeout{1000};

}  // namespace

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

void AsyncProcessorThread::Stop() {
    work_->SignalStop();
    const auto thread = std::move(thread_);
    if (thread == nullptr || thread->Wait(stop_timeout_) == WaitStatus::kSignalled) return;

    trace::Write(tracer_, trace::level::kError,
                 "Unable to stop async processor thread, thread should be terminated");
    work_->Abandon();
    if (const auto error = thread->Terminate(); error != vek::platform::system_error::kNone) {
        helpers::ThrowHResult(helpers::HResultFromWin32(error));
    }
    thread->Wait(kForcedEndTimeout);
    work_->ThreadIsGone();
}

}  // namespace plugins::mail_processing
