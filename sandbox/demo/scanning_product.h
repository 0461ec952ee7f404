#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "common/loader/service_access.h"
#include "product/scan_report.h"
#include "vek/trace/file_tracer.h"

namespace sandbox::demo {

// The product that checks a demo's mails, in this process or in one of its own.
class ScanningProduct {
public:
    virtual ~ScanningProduct() = default;

    // Whether it tells what its checks have found and changed.
    virtual bool reports() const = 0;

    // Takes over what the product says of the plug-in's trace.
    virtual void SetTrace(vek::trace::FileTracerConfig& config) const = 0;

    // Makes the loader that reaches it. The product outlives the loader.
    virtual plugins::loader::LoaderFactory Loader(vek::trace::TracerPtr tracer) = 0;

    // The report of the check that has ended last, once; nothing when there was none, or of a
    // product that does not report. May raise
    // std::exception.
    virtual std::optional<reference_product::ScanReport> TakeReport() = 0;
};

// Makes one in this process. Raises std::runtime_error for a file with lines that are no rules,
// which std::cerr names.
std::unique_ptr<ScanningProduct> MakeProductInProcess(const std::filesystem::path& rules);

// Uses the one that runs in `folder`, found as an installed product is (product_library.h). It
// reports when it has the file of reports that the reference product has.
std::unique_ptr<ScanningProduct> UseProductProcess(const std::filesystem::path& folder);

}  // namespace sandbox::demo
