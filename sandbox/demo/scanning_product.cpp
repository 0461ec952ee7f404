#include "sandbox/demo/scanning_product.h"

#include <iostream>
#include <stdexcept>
#include <utility>

#include "common/loader/product_loader.h"
#include "common/product_info/product_info.h"
#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "product/report_lines.h"
#include "product/rules.h"
#include "product/state/text_file.h"

namespace sandbox::demo {
namespace {

using reference_product::ScanReport;

reference_product::RuleSet LoadRulesOrComplain(const std::filesystem::path& path) {
    reference_product::ParsedRules parsed = reference_product::LoadRules(path);
    for (const reference_product::RuleError& error : parsed.errors) {
        std::cerr << reference_product::ToText(error) << '\n';
    }
    if (!parsed.errors.empty()) {
        throw std::runtime_error(path.string() + " has lines that are no rules");
    }
    return std::move(parsed.rules);
}

class InThisProcess final : public ScanningProduct {
public:
    explicit InThisProcess(const std::filesystem::path& rules)
        : product_(vek::MakeObject<reference_product::InProcessProduct>(
              vek::MakeObject<reference_product::MailScanner>(
                  std::make_shared<reference_product::ScannerEngine>(LoadRulesOrComplain(rules)),
                  [this](const ScanReport& report) { report_ = report; }))) {}

    bool reports() const override { return true; }
    void SetTrace(vek::trace::FileTracerConfig&) const override {}

    plugins::loader::LoaderFactory Loader(vek::trace::TracerPtr) override {
        return [this](vek::RefPtr<plugins::ILoader>& loader) {
            loader = product_;
            return vek::result::kOk;
        };
    }

    std::optional<ScanReport> TakeReport() override { return std::exchange(report_, {}); }

private:
    std::optional<ScanReport> report_;
    const vek::RefPtr<reference_product::InProcessProduct> product_;
};

class InItsOwnProcess final : public ScanningProduct {
public:
    explicit InItsOwnProcess(const std::filesystem::path& folder)
        : file_(folder / "reports.jsonl"), has_file_(exists(file_)), reports_(file_) {}

    bool reports() const override { return has_file_; }

    void SetTrace(vek::trace::FileTracerConfig& config) const override {
        plugins::product_info::ReadTraceValues(plugins::product_info::InstalledProduct(), config);
    }

    plugins::loader::LoaderFactory Loader(vek::trace::TracerPtr tracer) override {
        return plugins::loader::ProductLoaderFactory({.tracer = std::move(tracer)});
    }

    std::optional<ScanReport> TakeReport() override {
        std::optional<ScanReport> last;
        while (auto next = reports_.Next()) last = std::move(next->report);
        return last;
    }

private:
    const std::filesystem::path file_;
    const bool has_file_;
    reference_product::ReportReader reports_;
};

}  // namespace

std::unique_ptr<ScanningProduct> MakeProductInProcess(const std::filesystem::path& rules) {
    return std::make_unique<InThisProcess>(rules);
}

std::unique_ptr<ScanningProduct> UseProductProcess(const std::filesystem::path& folder) {
    return std::make_unique<InItsOwnProcess>(folder);
}

}  // namespace sandbox::demo
