#pragma once

#include <memory>

#include "private_include/common/localization.h"
#include "private_include/common/product_settings.h"
#include "private_include/common/service_locator.h"
#include "private_include/common/settings_window.h"
#include "product/caller.h"
#include "product/process/product_options.h"
#include "product/product_log.h"
#include "product/report_lines.h"
#include "product/scanner_engine.h"
#include "vek/core/ref_ptr.h"

namespace reference_product {

// What the product offers. Each caller has services of its own, over what there is once: the
// engine, the reports, the settings and the texts. Any thread may use it.
class ProductServices {
public:
    // Raises std::exception when the rules cannot be read.
    ProductServices(const ProductOptions& options, const Log& log, ReachStep reach);

    // The services as `caller` gets them. They may outlive this object.
    vek::RefPtr<plugins::IServiceLocator> MakeServices(const Caller& caller) const;

private:
    const bool scans_;
    const Log log_;
    const ReachStep reach_;
    const std::shared_ptr<const ScannerEngine> engine_;
    const std::shared_ptr<ReportWriter> reports_;
    const vek::RefPtr<plugins::product::IProductSettings> settings_;
    const vek::RefPtr<plugins::product::ILocalization> texts_;
    const vek::RefPtr<plugins::product::ISettingsWindow> settings_window_;
};

}  // namespace reference_product
