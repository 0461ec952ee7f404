#pragma once

// The product that a demo's mails are checked by, in this process or in one of its own.

#include <filesystem>
#include <memory>
#include <optional>

#include "common/loader/service_access.h"
#include "product/scan_report.h"
#include "vek/trace/tracer.h"

namespace sandbox::demo {

class ScanningProduct {
public:
    virtual ~ScanningProduct() = default;

    // The folder where the product wants the plug-in's trace; `otherwise` when it does not say.
    virtual std::filesystem::path TraceFolder(const std::filesystem::path& otherwise) const = 0;

    // How the plug-in reaches it. The product outlives the loader.
    virtual plugins::loader::LoaderFactory Loader(vek::trace::TracerPtr tracer) = 0;

    // The report of the check that has ended last, once; nothing when there was none. May raise
    // std::exception.
    virtual std::optional<reference_product::ScanReport> TakeReport() = 0;
};

// Raises std::runtime_error for rules that are none; what is wrong with them is on std::cerr.
std::unique_ptr<ScanningProduct> MakeProductInProcess(const std::filesystem::path& rules);

// The one that runs in `folder`, found as an installed product is (product_library.h).
std::unique_ptr<ScanningProduct> UseProductProcess(const std::filesystem::path& folder);

}  // namespace sandbox::demo
