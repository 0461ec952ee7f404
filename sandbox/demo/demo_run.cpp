#include "sandbox/demo/demo_run.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <utility>

#include "mapi/entry_id.h"
#include "mapi/property_tags.h"
#include "mlxo_version.h"
#include "processing/message_processor.h"
#include "product/state/text_file.h"
#include "sandbox/demo/manifest.h"
#include "sandbox/demo/scanning_product.h"
#include "sandbox/outlook/mapi_subsystem.h"
#include "sandbox/outlook/message_file.h"
#include "vek/core/current_exception.h"
#include "vek/core/result_text.h"
#include "vek/core/text.h"
#include "vek/trace/file_tracer.h"

namespace sandbox::demo {
namespace {

namespace mail_processing = plugins::mail_processing;
namespace tag = plugins::mapi::tag;
using reference_product::ScanReport;

// The names in the scanner's reports of those attachments that are messages.
std::vector<std::string> EmbeddedMessages(const outlook::MessageRecord& message) {
    std::vector<std::string> places;
    for (std::size_t i = 0; i < message.attachments.size(); ++i) {
        if (message.attachments[i].message) places.push_back("attachment " + std::to_string(i + 1));
    }
    return places;
}

std::string InWords(const reference_product::ScanFailure& failure) {
    if (!vek::Failed(failure.code)) return failure.operation;
    std::array<char, 16> code{};
    std::snprintf(code.data(), code.size(), " (0x%08X)", static_cast<unsigned>(failure.code));
    return failure.operation + ": " + vek::ToUtf8(vek::ResultText(failure.code)) + code.data();
}

std::string TextOf(const outlook::MessageRecord& message, ULONG property) {
    const auto* const value = message.properties.Find(property);
    return value == nullptr ? std::string() : *value->content();
}

// What a check has made of a message, as its reader sees it; for a product that does not report.
std::vector<std::string> Differences(const outlook::MessageRecord& before,
                                     const outlook::MessageRecord& after) {
    std::vector<std::string> found;
    if (std::string subject = TextOf(after, tag::kSubjectW);
        subject != TextOf(before, tag::kSubjectW))
        found.push_back("subject \"" + subject + '"');
    if (TextOf(before, tag::kBodyA) != TextOf(after, tag::kBodyA))
        found.push_back("plain body changed");
    if (TextOf(before, tag::kBodyHtmlA) != TextOf(after, tag::kBodyHtmlA))
        found.push_back("HTML body changed");
    if (before.attachments.size() != after.attachments.size())
        found.push_back("attachments: " + std::to_string(before.attachments.size()) + " before, " +
                        std::to_string(after.attachments.size()) + " now");
    return found;
}

// Keeps the code that a check has ended with.
class LastCode final : public mail_processing::CheckObserver {
public:
    void OnEnded(const mail_processing::ObservedCheck&, vek::result_t code) noexcept override {
        code_ = code;
    }
    vek::result_t code() const noexcept { return code_; }

private:
    vek::result_t code_ = vek::result::kOk;
};

// The product, the plug-in and the mail program of one run.
class Session {
public:
    explicit Session(const Options& options)
        : options_(options),
          product_(options.product.empty() ? MakeProductInProcess(options.rules)
                                           : UseProductProcess(options.product)),
          tracer_(OpenTracer()),
          services_(product_->Loader(tracer_)),
          functions_(
              std::make_shared<plugins::mapi::MapiFunctions>(outlook::MapiSubsystem::Functions())) {
        functions_->initialize(nullptr);
        processor_ = mail_processing::MessageProcessor::Create(
            nullptr, functions_, nullptr,
            {vek::platform::TheSystem(), vek::platform::TheClock(), services_, tracer_,
             last_code_});
        processor_->LogonBackgroundSession();
    }

    ~Session() {
        processor_->LogoffBackgroundSession();
        processor_.reset();
        functions_->uninitialize();
    }

    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Result Check(const Mail& mail) {
        outlook::MessageRecord message = outlook::LoadMessageFile(options_.messages / mail.message);
        const outlook::MessageRecord before = message;
        const std::vector<std::string> embedded = EmbeddedMessages(message);
        const bool received = message.properties.Find(tag::kProviderSubmitTime) != nullptr;
        const std::string entry_id = mapi_.store().Add(std::move(message));

        const auto start = std::chrono::steady_clock::now();
        if (received) {
            processor_->ProcessMessageByEntryId(plugins::mapi::EntryIdToHex(entry_id));
        } else {
            processor_->ProcessMessage(mapi_.OpenMessage(entry_id).get(),
                                       mail_processing::kOutgoing, mail_processing::kForeground);
        }
        const auto end = std::chrono::steady_clock::now();

        const outlook::MessageRecord after = *mapi_.store().Find(entry_id);
        outlook::SaveMessageFile(options_.out / mail.message, after);
        mapi_.store().Remove(entry_id);
        Result result;
        result.mail = std::filesystem::path(mail.source).filename().string();
        result.message = mail.message;
        result.event = received ? "received" : "sent";
        result.time = std::chrono::duration_cast<std::chrono::microseconds>(end - start);
        if (!product_->reports()) {
            if (const vek::result_t code = last_code_.code(); vek::Failed(code))
                throw std::runtime_error(InWords({"CheckMessage", code}));
            result.changed = Differences(before, after);
            return result;
        }
        const std::optional<ScanReport> report = product_->TakeReport();
        if (!report) throw std::runtime_error("the product has not checked it; the trace says why");
        AddReport(*report, embedded, result);
        return result;
    }

private:
    vek::trace::TracerPtr OpenTracer() const {
        vek::trace::FileTracerConfig config;
        config.folder = reference_product::PathText(options_.out / "trace");
        config.name = "mlxo";
        config.version = MLXO_VERSION;
        config.level = vek::trace::level::kDetail;
        product_->SetTrace(config);
        return vek::trace::OpenFileTracer(config);
    }

    static void AddReport(const ScanReport& report, const std::vector<std::string>& embedded,
                          Result& result) {
        result.found = report.findings;
        result.changed = report.changes;
        for (const std::string& place : report.not_offered) {
            const bool is_message = std::ranges::find(embedded, place) != embedded.end();
            result.not_offered.push_back(place + (is_message ? ", embedded message" : ""));
        }
        result.not_checked = report.not_checked;
        result.left = report.left;
        for (const reference_product::ScanFailure& failure : report.failures) {
            result.failed.push_back(InWords(failure));
        }
    }

    const Options& options_;
    const std::unique_ptr<ScanningProduct> product_;
    const vek::trace::TracerPtr tracer_;
    LastCode last_code_;
    plugins::loader::ServiceAccess services_;
    outlook::MapiSubsystem mapi_{options_.store};
    const std::shared_ptr<const plugins::mapi::MapiFunctions> functions_;
    std::shared_ptr<mail_processing::MessageProcessor> processor_;
};

}  // namespace

Outcome Run(const Options& options) {
    const std::vector<Mail> mails = LoadManifest(options.messages / "manifest.json");
    std::filesystem::create_directories(options.out);
    Session session(options);
    Outcome outcome;
    for (const Mail& mail : mails) {
        try {
            outcome.results.push_back(session.Check(mail));
        } catch (...) {
            std::cerr << mail.source << ": " << vek::CurrentExceptionText() << '\n';
            outcome.all_checked = false;
        }
    }
    return outcome;
}

}  // namespace sandbox::demo
