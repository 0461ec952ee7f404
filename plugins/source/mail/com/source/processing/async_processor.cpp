#include "processing/async_processor.h"

#include <utility>

#include "processing/async_processor_thread.h"
#include "vek/core/exception.h"
#include "vek/trace/traced_border.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;
using trace::level::kError;

}  // namespace

AsyncProcessor::AsyncProcessor(AsyncEnvironment environment)
    : tracer_(environment.tracer),
      observer_(environment.observer),
      system_(environment.system),
      mapi_(environment.functions, environment.registry, tracer_),
      work_(std::make_shared<AsyncWork>(environment)),
      worker_(std::make_unique<AsyncProcessorThread>(work_, environment.system, tracer_,
                                                     environment.stop_timeout)) {}

AsyncProcessor::~AsyncProcessor() {
    trace::TracedBorder(tracer_, [this] { Stop(); });
    if (!ended_by_itself_) mapi_.GiveBackWithoutTrust(system_);
}

void AsyncProcessor::Start() {
    if (FAILED(mapi_.result())) {
        trace::Write(tracer_, kError,
                     "Failed to start async processor thread. MAPI EDK not initialized.");
        return;
    }
    if (worker_ == nullptr) {
        throw vek::contract::RequireViolation(
            vek::SourceLocation::Here(), vek::wide_string_t(u"the async processor is not stopped"));
    }
    worker_->Start();
    trace::Write(tracer_, kDetail, "Async processor thread started successfully");
}

void AsyncProcessor::PrepareStop() noexcept {
    trace::Write(tracer_, kDetail, "Preparing to stop async processor thread...");
    if (worker_ != nullptr && worker_->IsStarted()) {
        work_->SignalStop();
    } else {
        trace::Write(tracer_, kDetail, "Async processor not started");
    }
    trace::Write(tracer_, kDetail, "Stop of async processor thread prepared");
}

void AsyncProcessor::Stop() {
    const auto worker = std::move(worker_);
    if (worker == nullptr) {
        trace::Write(tracer_, kDetail, "Async processor thread already stopped");
        return;
    }
    trace::Write(tracer_, kDetail, "Stopping async processor thread...");
    struct Drop {
        AsyncWork& work;
        ~Drop() { work.DropQueue(); }
    } const drop{*work_};
    ended_by_itself_ = false;
    ended_by_itself_ = worker->Stop();
    trace::Write(tracer_, kDetail, "Async processor thread stopped");
}

void AsyncProcessor::AddMessage(std::u16string_view entry_id) {
    if (FAILED(mapi_.result())) {
        trace::Write(tracer_, kError,
                     "Failed to add message to async thread queue. MAPI EDK not initialized.");
        return PendingCheck(observer_, entry_id).Skip(SkipReason::kNoMapi);
    }
    if (entry_id.empty()) {
        trace::Write(tracer_, kDetail, "Skip add message for empty entry id");
        return PendingCheck(observer_).Skip(SkipReason::kNoEntryId);
    }
    work_->Add(entry_id);
}

std::u16string AsyncProcessor::GetCurrentEntryId() const { return work_->CurrentEntryId(); }

}  // namespace plugins::mail_processing
