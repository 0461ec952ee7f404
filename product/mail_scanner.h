#pragma once

// The mail_scanner services that the stand-in product can offer.

#include <functional>
#include <memory>

#include "private_include/common/mail_scanner.h"
#include "product/scanner_engine.h"
#include "vek/core/object.h"

namespace reference_product {

// Checks messages with the engine. Free-threaded. Answers the report's result, kInvalidArgument
// without a message, kOutOfMemory, or kUnknownException when the sink raises.
class MailScanner final : public vek::ObjectImpl<plugins::mail_processing::IMailScanner> {
public:
    // Gets each check's report on the thread of the check, several at once.
    using ReportSink = std::function<void(const ScanReport&)>;

    explicit MailScanner(std::shared_ptr<const ScannerEngine> engine, ReportSink sink = {});

    vek::result_t CheckMessage(std::uint32_t process_id, bool incoming,
                               plugins::mail_processing::IMailMessage* message) override;

private:
    std::shared_ptr<const ScannerEngine> engine_;
    ReportSink sink_;
};

// Does with each message what a function says, for benchmarks and tests. As free-threaded as the
// function.
class ScriptedScanner final : public vek::ObjectImpl<plugins::mail_processing::IMailScanner> {
public:
    // Its result is the check's; what it raises becomes a result code as in MailScanner.
    using Script =
        std::function<vek::result_t(bool incoming, plugins::mail_processing::IMailMessage&)>;

    explicit ScriptedScanner(Script script);

    vek::result_t CheckMessage(std::uint32_t process_id, bool incoming,
                               plugins::mail_processing::IMailMessage* message) override;

private:
    Script script_;
};

}  // namespace reference_product
