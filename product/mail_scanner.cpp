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

MailScanner::MailScanner(std::shared_ptr<const ScannerEngine> engine, ReportSink sink,
                         ScanMemory memory)
    : engine_(std::move(engine)), sink_(std::move(sink)), memory_(std::move(memory)) {}

// Mail being sent is checked each time: it has no lasting identity yet, and is sent once.
ScanReport MailScanner::Check(bool incoming, IMailMessage& message) const {
    const bool asks = memory_.clean && incoming;
    std::uint64_t hash = 0;
    const bool has_hash = asks && vek::Succeeded(message.GetMessageHash(hash));
    const std::string& account = memory_.kept.account;
    std::optional<std::uint64_t> version;
    if (has_hash) version = engine_->CleanVersion();
    if (version) {
        if (auto summary = memory_.clean->Find(account, hash, *version)) {
            ScanReport known;
            known.incoming = incoming;
            known.known_clean = true;
            known.summary = *std::move(summary);
            known.callbacks = 1;
            return known;
        }
    }
    ScanReport report = engine_->Check(incoming, message, memory_.kept, memory_.texts);
    report.callbacks += asks;
    // An engine that learnt something meanwhile may not have used it yet.
    if (version && IsClean(report) && engine_->CleanVersion() == version)
        memory_.clean->Add(account, hash, *version, report.summary);
    return report;
}

vek::result_t MailScanner::CheckMessage(std::uint32_t, bool incoming, IMailMessage* message) {
    return RunCheck(message, [&](IMailMessage& checked) {
        const auto start = std::chrono::steady_clock::now();
        ScanReport report = Check(incoming, checked);
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
