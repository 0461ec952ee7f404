#pragma once

#include <memory>

#include "private_include/common/mail_scanner.h"
#include "processing/invoke_dispatcher.h"
#include "vek/platform/flag.h"
#include "vek/platform/system.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// What one check's worker thread works with. All of it outlives the worker.
struct CheckRequest {
    IMailScanner& scanner;
    bool incoming;
    IMailMessage& message;
    vek::platform::Event& done;
    InvokeDispatcher& dispatcher;
    const vek::trace::TracerPtr& tracer;
};

// The thread that makes the remote call of one check, so that the owning thread is free to serve
// the scanner. It traces whatever goes wrong and always ends by signalling `done`. It never
// touches MAPI.
class CheckWorker {
public:
    // Raises HResultCodeException when the thread cannot be started.
    CheckWorker(vek::platform::System& system, const CheckRequest& request);

    // Waits for the thread to end.
    ~CheckWorker();

    CheckWorker(const CheckWorker&) = delete;
    CheckWorker& operator=(const CheckWorker&) = delete;

private:
    // Tells of the end where waiting for the thread fails. Shared with the thread, which outlives
    // the owner's stack when the owner is ended by force.
    const std::shared_ptr<vek::platform::Flag> finished_ = std::make_shared<vek::platform::Flag>();
    const std::unique_ptr<vek::platform::Thread> thread_;
};

}  // namespace plugins::mail_processing
