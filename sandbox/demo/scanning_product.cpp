#include "sandbox/demo/scanning_product.h"

#include <iostream>
#include <stdexcept>
#include <utility>

#include "common/loader/remote_connector.h"
#include "common/product_info/installed_product.h"
#include "sandbox/product/in_process_product.h"
#include "sandbox/product/mail_scanner.h"
#include "sandbox/product/report_lines.h"
#include "sandbox/product/rules.h"
#include "sandbox/product/state/text_file.h"

namespace sandbox::demo {
namespace {

using product::ScanReport;

product::RuleSet LoadRulesOrComplain(const std::filesystem::path& path) {
    product::ParsedRules parsed = product::LoadRules(path);
    for (const product::RuleError& error : parsed.errors) {
        std::cerr << product::ToText(error) << '\n';
    }
    if (!parsed.errors.empty()) {
        throw std::runtime_error(path.string() + " has lines that are no rules");
    }
    return std::move(parsed.rules);
}

class InThisProcess final : public ScanningProduct {
public:
    explicit InThisProcess(const std::filesystem::path& rules)
        : product_(vek::MakeObject<product::InProcessProduct>(vek::MakeObject<product::MailScanner>(
              std::make_shared<product::ScannerEngine>(LoadRulesOrComplain(rules)),
              [this](const ScanReport& report) { report_ = report; }))) {}

    std::filesystem::path TraceFolder(const std::filesystem::path& otherwise) const override {
        return otherwise;
    }

    plugins::loader::LoaderFactory Loader(vek::trace::TracerPtr) override {
        return [this](vek::RefPtr<plugins::ILoader>& loader) {
            loader = product_;
            return vek::result::kOk;
        };
    }

    std::optional<ScanReport> TakeReport() override { return std::exchange(report_, {}); }

private:
    std::optional<ScanReport> report_;
    const vek::RefPtr<product::InProcessProduct> product_;
};

class InItsOwnProcess final : public ScanningProduct {
public:
    explicit InItsOwnProcess(const std::filesystem::path& folder)
        : reports_(folder / "reports.jsonl") {}

    std::filesystem::path TraceFolder(const std::filesystem::path& otherwise) const override {
        const plugins::product_info::InstalledProduct installed;
        const auto folder =
            plugins::product_info::Folder(installed, plugins::product_info::kTraceRoot);
        return folder ? product::PathOf(*folder) : otherwise;
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
    product::ReportReader reports_;
};

}  // namespace

std::unique_ptr<ScanningProduct> MakeProductInProcess(const std::filesystem::path& rules) {
    return std::make_unique<InThisProcess>(rules);
}

std::unique_ptr<ScanningProduct> UseProductProcess(const std::filesystem::path& folder) {
    return std::make_unique<InItsOwnProcess>(folder);
}

}  // namespace sandbox::demo
