#include "product/mail_scanner.h"

#include <chrono>
#include <utility>

#include "vek/core/border.h"

namespace reference_product {
namespace {

using plugins::mail_processing::IMailMessage;

template <class Check>
vek::result_t RunCheck(IMailMessage* message, Check&& check) noexcept {
    if (message == nullptr) return vek::result::kInvalidArgument;
    return vek::AtBorder([&] { return check(*message); });
}

}  // namespace

MailScanner::MailScanner(std::shared_ptr<const ScannerEngine> engine, ReportSink sink)
    : engine_(std::move(engine)), sink_(std::move(sink)) {}

vek::result_t MailScanner::CheckMessage(std::uint32_t, bool incoming, IMailMessage* message) {
    return RunCheck(message, [&](IMailMessage& checked) {
        const auto start = std::chrono::steady_clock::now();
        ScanReport report = engine_->Check(incoming, checked);
        report.time = std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now() - start);
        if (sink_) sink_(report);
        return report.result;
    });
}

ScriptedScanner::ScriptedScanner(Script script) : script_(std::move(script)) {}

vek::result_t ScriptedScanner::CheckMessage(std::uint32_t, bool incoming, IMailMessage* message) {
    return RunCheck(message, [&](IMailMessage& checked) { return script_(incoming, checked); });
}

}  // namespace reference_product
