#pragma once

// The mail_scanner services of the reference product.

#include <functional>
#include <memory>

#include "private_include/common/mail_scanner.h"
#include "product/clean_memory.h"
#include "product/kept_store.h"
#include "product/scanner_engine.h"
#include "vek/core/object.h"

namespace reference_product {

// What the checks of one user's mail share with other checks; a pointer may be null.
struct ScanMemory {
    std::shared_ptr<CleanMemory> clean;
    KeptFor kept;             // and whose mail it is
    NoticeSource texts = {};  // in his language
};

// Checks messages with the engine, but for those that are known to be clean; any thread may call
// it. Gives the report's result, kInvalidArgument without a message, kOutOfMemory, or
// kUnknownException when the sink raises.
class MailScanner final : public vek::ObjectImpl<plugins::mail_processing::IMailScanner> {
public:
    // Takes each check's report, on the thread of the check; several may come at once.
    using ReportSink = std::function<void(const ScanReport&)>;

    explicit MailScanner(std::shared_ptr<const ScannerEngine> engine, ReportSink sink = {},
                         ScanMemory memory = {});

    vek::result_t CheckMessage(std::uint32_t process_id, bool incoming,
                               plugins::mail_processing::IMailMessage* message) override;

private:
    ScanReport Check(bool incoming, plugins::mail_processing::IMailMessage& message) const;

    const std::shared_ptr<const ScannerEngine> engine_;
    const ReportSink sink_;
    const ScanMemory memory_;
};

// Runs a function on each message, for benchmarks and tests. Any thread may call it if any thread
// may call the function.
class ScriptedScanner final : public vek::ObjectImpl<plugins::mail_processing::IMailScanner> {
public:
    // Gives the check's result; an exception becomes a result code.
    using Script =
        std::function<vek::result_t(bool incoming, plugins::mail_processing::IMailMessage&)>;

    explicit ScriptedScanner(Script script);

    vek::result_t CheckMessage(std::uint32_t process_id, bool incoming,
                               plugins::mail_processing::IMailMessage* message) override;

private:
    Script script_;
};

}  // namespace reference_product
