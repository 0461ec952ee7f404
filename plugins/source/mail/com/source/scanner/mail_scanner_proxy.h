#pragma once

#include "common/loader/service_access.h"
#include "private_include/common/mail_scanner.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/lock.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// The plug-in's only door to the product's mail_scanner service. Connects with the first check,
// tries again with every check until it has, and keeps its connection from then on: recovering a
// broken transport is the remoting layer's task.
class MailScannerProxy final : public vek::ObjectImpl<IMailScanner> {
public:
    // `services` outlives the proxy.
    MailScannerProxy(vek::trace::TracerPtr tracer, loader::ServiceAccess& services);

    // Forwards to the service and gives its success code; takes as long as that takes, while the
    // product shows that it lives. Raises vek::CheckResultFailedException with the failing code
    // when the service cannot be reached or reports a failure. May be called from several threads.
    vek::result_t CheckMessage(std::uint32_t process_id, bool incoming,
                               IMailMessage* message) override;

private:
    vek::RefPtr<IMailScanner> Connect();

    const vek::trace::TracerPtr tracer_;
    loader::ServiceAccess& services_;
    vek::platform::Lock lock_;  // guards scanner_ alone
    vek::RefPtr<IMailScanner> scanner_;
};

}  // namespace plugins::mail_processing
