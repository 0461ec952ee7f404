#pragma once

#include "common/loader/product_loader.h"
#include "product/scanner_engine.h"
#include "sandbox/demo/scenario/scenario_product.h"
#include "vek/platform/registry.h"
#include "vek/trace/file_tracer.h"

namespace sandbox::demo {

// A product as an add-in of this program reaches it.
class ReachableProduct : public ScenarioProduct {
public:
    // Makes the loader that reaches it. The product outlives the loader.
    virtual plugins::loader::LoaderFactory Loader(vek::trace::TracerPtr tracer) = 0;

    // Takes over what the product says of the plug-in's trace.
    virtual void SetTrace(vek::trace::FileTracerConfig& config) const = 0;
};

// Makes one in this process, none of whose services can be reached while it does not run. Raises
// std::runtime_error for a file with lines that are no rules.
std::unique_ptr<ReachableProduct> MakeLocalProduct(const std::filesystem::path& rules,
                                                   reference_product::EngineSource engine = {});

// A product's process as this program finds and reaches it.
struct RemoteProductOptions {
    std::filesystem::path folder;              // it is installed there (product.md)
    std::vector<std::string> first_arguments;  // that the first start has besides
    plugins::loader::LoaderTimes times;        // of the loader that reaches it
    vek::platform::Registry* registry = &vek::platform::TheRegistry();  // names it, on Windows
};

// Makes one in a process of its own, found as an installed one is.
std::unique_ptr<ReachableProduct> MakeRemoteProduct(const RemoteProductOptions& options,
                                                    const std::filesystem::path& rules);

}  // namespace sandbox::demo
