#include "processing/check_worker.h"

#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

void Check(const CheckRequest& request) noexcept {
    try {
        const vek::result_t result = request.scanner.CheckMessage(
            vek::platform::CurrentProcessId(), request.incoming, &request.message);
        helpers::CheckHResult(static_cast<std::int32_t>(result));
    } catch (...) {
        vek::trace::WriteCurrentException(request.tracer);
    }
    // An owner that is not told would wait for ever.
    if (request.done.Set() != vek::platform::system_error::kNone) request.dispatcher.Stop();
}

std::unique_ptr<vek::platform::Thread> Start(vek::platform::System& system,
                                             const CheckRequest& request,
                                             std::shared_ptr<vek::platform::Flag> finished) {
    auto thread = system.StartThread([request, finished = std::move(finished)] {
        Check(request);
        finished->Raise();
    });
    if (thread == nullptr) helpers::ThrowLastError();
    return thread;
}

}  // namespace

CheckWorker::CheckWorker(vek::platform::System& system, const CheckRequest& request)
    : thread_(Start(system, request, finished_)) {}

CheckWorker::~CheckWorker() {
    if (thread_->Wait(vek::platform::kInfinite) != vek::platform::WaitStatus::kSignalled) {
        finished_->Wait();
    }
}

}  // namespace plugins::mail_processing
