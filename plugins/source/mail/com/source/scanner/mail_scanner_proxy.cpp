#include "scanner/mail_scanner_proxy.h"

#include <utility>

#include "vek/core/throw.h"
#include "vek/remoting/call_wait.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {

MailScannerProxy::MailScannerProxy(vek::trace::TracerPtr tracer, loader::ServiceAccess& services)
    : tracer_(std::move(tracer)), services_(services) {}

vek::RefPtr<IMailScanner> MailScannerProxy::Connect() {
    {
        const std::lock_guard guard(lock_);
        if (scanner_) return scanner_;
    }
    vek::trace::Write(tracer_, vek::trace::level::kDetail, "Connect to mail_scanner");
    const vek::remoting::LimitedCalls limited;
    vek::RefPtr<IMailScanner> found = services_.RequireService<IMailScanner>();

    const std::lock_guard guard(lock_);
    // Of two checks that connect at once the later keeps its reference; the earlier one's is
    // released here, after its own check has taken a reference.
    std::swap(scanner_, found);
    return scanner_;
}

vek::result_t MailScannerProxy::CheckMessage(std::uint32_t process_id, bool incoming,
                                             IMailMessage* message) {
    const vek::RefPtr<IMailScanner> scanner = Connect();
    const vek::remoting::WatchedCalls watched;
    const vek::result_t result = scanner->CheckMessage(process_id, incoming, message);
    vek::CheckResult(result);
    return result;
}

}  // namespace plugins::mail_processing
