#pragma once

#include <atomic>
#include <memory>

#include "private_include/common/mail_scanner.h"
#include "processing/invoke_dispatcher.h"
#include "vek/platform/flag.h"
#include "vek/platform/system.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// One check as its worker thread makes it. References outlive the worker.
struct CheckRequest {
    IMailScanner& scanner;
    bool incoming;
    IMailMessage& message;
    vek::platform::Event& done;
    InvokeDispatcher& dispatcher;
    const vek::trace::TracerPtr& tracer;
};

// Makes the remote call of one check on a thread of its own, so that the owning thread is free to
// serve the scanner. The thread goes on with its owner's event (call_wait.h), traces whatever goes
// wrong, signals `done` at its end in any case and never touches MAPI.
class CheckWorker {
public:
    // Raises HResultCodeException when the thread cannot be started.
    CheckWorker(vek::platform::System& system, const CheckRequest& request);

    // The scanner's code, or that of the failure to reach it. To be asked for after `done`.
    vek::result_t code() const noexcept { return outcome_->code; }

    // Waits for the thread to end.
    ~CheckWorker();

    CheckWorker(const CheckWorker&) = delete;
    CheckWorker& operator=(const CheckWorker&) = delete;

private:
    struct Outcome {
        std::atomic<vek::result_t> code{vek::result::kUnspecifiedError};
        vek::platform::Flag finished;  // for an owner that fails to wait for the thread
    };
    static void Run(const CheckRequest& request, Outcome& outcome) noexcept;
    std::unique_ptr<vek::platform::Thread> Start(vek::platform::System& system,
                                                 const CheckRequest& request) const;

    // Shared with the thread, which outlives the owner's stack when the owner is ended by force.
    const std::shared_ptr<Outcome> outcome_ = std::make_shared<Outcome>();
    const std::unique_ptr<vek::platform::Thread> thread_;
};

}  // namespace plugins::mail_processing
