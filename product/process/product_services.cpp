#include "product/process/product_services.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <utility>

#include "product/in_process_product.h"
#include "product/localization_service.h"
#include "product/mail_scanner.h"
#include "product/settings_service.h"
#include "product/settings_window_service.h"
#include "vek/core/object.h"

namespace reference_product {
namespace {

using plugins::mail_processing::IMailScanner;

std::shared_ptr<const ScannerEngine> LoadEngine(const std::filesystem::path& rules) {
    ParsedRules parsed = LoadRules(rules);
    std::string errors;
    for (const RuleError& error : parsed.errors) errors += ToText(error) + '\n';
    if (!errors.empty()) throw std::runtime_error(errors);
    return std::make_shared<ScannerEngine>(std::move(parsed.rules));
}

// While the settings are not known nothing is remembered, and all is kept.
std::function<CleanLimits()> CleanLimitsOf(std::shared_ptr<SettingsStore> store) {
    return [store = std::move(store)] {
        const std::optional<ProductSettings> settings = store->OfAll();
        return settings ? CleanLimits{settings->remembered_messages,
                                      std::chrono::hours(settings->remembered_hours)}
                        : CleanLimits{};
    };
}

std::function<std::optional<KeptLimits>()> KeptLimitsOf(std::shared_ptr<SettingsStore> store) {
    return [store = std::move(store)]() -> std::optional<KeptLimits> {
        const std::optional<ProductSettings> settings = store->OfAll();
        if (!settings) return std::nullopt;
        return KeptLimits{std::chrono::days(settings->kept_days),
                          std::uint64_t{settings->kept_megabytes} << 20};
    };
}

// Looks each hour, as no hour passes while the machine sleeps.
void ExpireDaily(const std::stop_token& stop, KeptStore& kept) {
    std::mutex lock;
    std::condition_variable_any stopped;
    std::unique_lock guard(lock);
    for (;;) {
        stopped.wait_for(guard, stop, std::chrono::hours(1), [] { return false; });
        if (stop.stop_requested()) return;
        kept.ExpireDaily();
    }
}

}  // namespace

ProductServices::ProductServices(const ProductOptions& options, const Log& log, ReachStep reach)
    : scans_(options.scans),
      log_(log),
      reach_(std::move(reach)),
      engine_(LoadEngine(options.rules)),
      reports_(std::make_shared<ReportWriter>(options.reports)),
      settings_(std::make_shared<SettingsStore>(options.settings, options.users, log)),
      clean_(std::make_shared<CleanMemory>(CleanLimitsOf(settings_))),
      kept_(std::make_shared<KeptStore>(options.kept, KeptLimitsOf(settings_), log)),
      texts_(vek::MakeObject<LocalizationService>(options.texts, options.resources, log)),
      settings_window_(vek::MakeObject<SettingsWindowService>(log)),
      expiring_([kept = kept_](std::stop_token stop) { ExpireDaily(stop, *kept); }) {}

vek::RefPtr<plugins::IServiceLocator> ProductServices::MakeServices(const Caller& caller) const {
    vek::RefPtr<IMailScanner> scanner;
    if (scans_) {
        scanner = vek::MakeObject<MailScanner>(
            engine_,
            [log = log_, reports = reports_](const ScanReport& report) {
                const std::uint32_t number = reports->Write(report);
                log("check " + std::to_string(number) + ": " + ToText(report));
            },
            ScanMemory{clean_, {kept_, caller.account}});
    } else {
        scanner = vek::MakeObject<ScriptedScanner>([](bool, auto&) { return vek::result::kOk; });
    }
    auto services = vek::MakeObject<InProcessProduct>(WithSteps(std::move(scanner), reach_));
    using namespace plugins::product;
    services->Offer(IProductSettings::kInterfaceId,
                    WithSteps(vek::MakeObject<SettingsService>(settings_, caller, log_), reach_));
    services->Offer(ILocalization::kInterfaceId, texts_);
    services->Offer(ISettingsWindow::kInterfaceId, settings_window_);
    return WithSteps(std::move(services), reach_);
}

}  // namespace reference_product
