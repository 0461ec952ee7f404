#include "product/process/product_services.h"

#include <stdexcept>
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

}  // namespace

ProductServices::ProductServices(const ProductOptions& options, const Log& log, ReachStep reach)
    : scans_(options.scans),
      log_(log),
      reach_(std::move(reach)),
      engine_(LoadEngine(options.rules)),
      reports_(std::make_shared<ReportWriter>(options.reports)),
      settings_(WithSteps(vek::MakeObject<SettingsService>(options.settings, log), reach_)),
      texts_(vek::MakeObject<LocalizationService>(options.texts, options.resources, log)),
      settings_window_(vek::MakeObject<SettingsWindowService>(log)) {}

vek::RefPtr<plugins::IServiceLocator> ProductServices::MakeServices(const Caller&) const {
    vek::RefPtr<IMailScanner> scanner;
    if (scans_) {
        scanner = vek::MakeObject<MailScanner>(
            engine_, [log = log_, reports = reports_](const ScanReport& report) {
                const std::uint32_t number = reports->Write(report);
                log("check " + std::to_string(number) + ": " + ToText(report));
            });
    } else {
        scanner = vek::MakeObject<ScriptedScanner>([](bool, auto&) { return vek::result::kOk; });
    }
    auto services = vek::MakeObject<InProcessProduct>(WithSteps(std::move(scanner), reach_));
    using namespace plugins::product;
    services->Offer(IProductSettings::kInterfaceId, settings_);
    services->Offer(ILocalization::kInterfaceId, texts_);
    services->Offer(ISettingsWindow::kInterfaceId, settings_window_);
    return WithSteps(std::move(services), reach_);
}

}  // namespace reference_product
