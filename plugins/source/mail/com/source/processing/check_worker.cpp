#include "processing/check_worker.h"

#include "internal/helpers/hresult_exception.h"
#include "vek/remoting/call_wait.h"
#include "vek/trace/traced_border.h"

namespace plugins::mail_processing {

void CheckWorker::Run(const CheckRequest& request, Outcome& outcome) noexcept {
    outcome.code = vek::trace::TracedBorder(request.tracer, [&] {
        const vek::result_t code = request.scanner.CheckMessage(vek::platform::CurrentProcessId(),
                                                                request.incoming, &request.message);
        helpers::CheckHResult(static_cast<helpers::hresult_t>(code));
        return code;
    });
    // An owner that is not told would wait for ever.
    if (request.done.Set() != vek::platform::system_error::kNone) request.dispatcher.Stop();
    outcome.finished.Raise();
}

std::unique_ptr<vek::platform::Thread> CheckWorker::Start(vek::platform::System& system,
                                                          const CheckRequest& request) const {
    using vek::remoting::EventScope;
    auto thread = system.StartThread([request, outcome = outcome_, event = EventScope::Budget()] {
        const EventScope scope(event);
        Run(request, *outcome);
    });
    if (thread == nullptr) helpers::ThrowLastError();
    return thread;
}

CheckWorker::CheckWorker(vek::platform::System& system, const CheckRequest& request)
    : thread_(Start(system, request)) {}

CheckWorker::~CheckWorker() {
    if (thread_->Wait(vek::platform::kInfinite) != vek::platform::WaitStatus::kSignalled) {
        outcome_->finished.Wait();
    }
}

}  // namespace plugins::mail_processing
