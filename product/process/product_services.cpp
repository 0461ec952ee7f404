#include "product/process/product_services.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <utility>

#include "mlxo_version.h"
#include "product/in_process_product.h"
#include "product/localization_service.h"
#include "product/mail_scanner.h"
#include "product/settings_service.h"
#include "product/status/status_service.h"
#include "vek/core/object.h"
#include "vek/core/text.h"
#include "vek/core/throw.h"
#include "vek/platform/clock.h"

namespace reference_product {
namespace {

using plugins::mail_processing::IMailScanner;

std::shared_ptr<const ScannerEngine> LoadEngine(const std::filesystem::path& rules,
                                                EngineSource contents) {
    ParsedRules parsed = LoadRules(rules);
    std::string errors;
    for (const RuleError& error : parsed.errors) errors += ToText(error) + '\n';
    if (!errors.empty()) throw std::runtime_error(errors);
    return std::make_shared<ScannerEngine>(std::move(parsed.rules), std::move(contents));
}

// While the settings are not known nothing is remembered.
std::function<CleanLimits()> CleanLimitsOf(std::shared_ptr<SettingsStore> store) {
    return [store = std::move(store)] {
        const std::optional<ProductSettings> settings = store->OfAll();
        return settings ? CleanLimits{settings->remembered_messages,
                                      std::chrono::hours(settings->remembered_hours)}
                        : CleanLimits{};
    };
}

// While the settings are not known the defaults bound what is kept.
std::function<KeptLimits()> KeptLimitsOf(std::shared_ptr<SettingsStore> store) {
    return [store = std::move(store)] {
        const std::optional<ProductSettings> known = store->OfAll();
        const ProductSettings settings = known.value_or(ProductSettings{});
        return KeptLimits{std::chrono::days(settings.kept_days),
                          std::uint64_t{settings.kept_megabytes} << 20, known.has_value()};
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

ProductStatus StatusOf(SettingsStore& store, const ScannerEngine& rules, EngineChoice& choice) {
    ProductSettings now;
    vek::CheckResult(store.Get({}, now));
    const Protection off = now.is_off_by_policy ? Protection::kOffByPolicy : Protection::kOff;
    const auto version = vek::HexDigits<char>(static_cast<std::uint32_t>(rules.version()));
    ProductStatus status{now.plugin.isPluginEnabled ? Protection::kOn : off, "",
                         "Rules " MLXO_VERSION, std::string(version.begin(), version.end())};
    EngineState state;
    try {
        if (const auto engine = choice.Current()) state = engine->State();
    } catch (const std::runtime_error& error) {
        state.trouble = error.what();
    }
    if (!state.name.empty()) status.engine += ", " + state.name;
    if (!state.signatures.empty()) status.signatures += ", " + state.signatures;
    status.trouble = std::move(state.trouble);
    if (!status.trouble.empty() && status.protection == Protection::kOn)
        status.protection = Protection::kNoEngine;
    return status;
}

}  // namespace

ProductServices::ProductServices(const ProductOptions& options, const Log& log, ReachStep reach)
    : scans_(options.scans),
      road_(RoadOf(options)),
      log_(log),
      reach_(std::move(reach)),
      reports_(std::make_shared<ReportWriter>(options.reports)),
      finds_(std::make_shared<FindHistory>(options.private_data / "finds", log)),
      settings_(std::make_shared<SettingsStore>(options.settings, options.users, log)),
      choice_(std::make_shared<EngineChoice>(settings_, log)),
      engine_(LoadEngine(
          options.rules,
          [choice = choice_](const std::string& account) { return choice->CurrentOf(account); })),
      clean_(std::make_shared<CleanMemory>(CleanLimitsOf(settings_))),
      kept_(std::make_shared<KeptStore>(options.kept, KeptLimitsOf(settings_), log)),
      texts_(std::make_shared<TextFolder>(options.texts, log)),
      resources_(options.resources),
      expiring_([kept = kept_](std::stop_token stop) { ExpireDaily(stop, *kept); }) {}

vek::RefPtr<plugins::IServiceLocator> ProductServices::MakeServices(const Caller& caller) const {
    const auto texts = vek::MakeObject<LocalizationService>(texts_, resources_);
    vek::RefPtr<IMailScanner> scanner;
    if (scans_) {
        scanner = vek::MakeObject<MailScanner>(
            engine_,
            [log = log_, reports = reports_, finds = finds_, caller](const ScanReport& report) {
                // The check is done: what cannot be written of it does not undo that.
                std::string number = "without report";
                try {
                    number = std::to_string(reports->Write(report));
                } catch (const std::runtime_error& error) {
                    log(error.what());
                }
                log("check " + number + " for " + ToText(caller) + ": " + ToText(report));
                if (auto find = FindOf(report, vek::platform::TheClock().UtcNow()))
                    finds->Add(caller.account, *std::move(find));
            },
            ScanMemory{clean_, {kept_, caller.account}, [texts] { return texts->Notices(); }});
    } else {
        scanner = vek::MakeObject<ScriptedScanner>([](bool, auto&) { return vek::result::kOk; });
    }
    auto services = vek::MakeObject<InProcessProduct>(WithSteps(std::move(scanner), reach_));
    using namespace plugins::product;
    services->Offer(IProductSettings::kInterfaceId,
                    WithSteps(vek::MakeObject<SettingsService>(settings_, caller, log_), reach_));
    services->Offer(ILocalization::kInterfaceId, vek::RefPtr<ILocalization>(texts));
    services->Offer(IUserLanguage::kInterfaceId,
                    WithSteps(vek::RefPtr<IUserLanguage>(texts), reach_));
    services->Offer(ISettingsWindow::kInterfaceId, vek::MakeObject<SettingsWindowService>(
                                                       log_,
                                                       [road = road_, session = caller.session_id] {
                                                           StartSettingsWindow(road, session);
                                                       },
                                                       caller, openings_));
    services->Offer(IProductStatus::kInterfaceId,
                    vek::MakeObject<StatusService>(
                        [settings = settings_, engine = engine_, choice = choice_] {
                            return StatusOf(*settings, *engine, *choice);
                        },
                        finds_, caller.account));
    return WithSteps(std::move(services), reach_);
}

}  // namespace reference_product
