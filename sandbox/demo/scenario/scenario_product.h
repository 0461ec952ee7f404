#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "common/loader/product_loader.h"
#include "private_include/common/product_settings.h"
#include "vek/platform/registry.h"
#include "vek/trace/file_tracer.h"

namespace sandbox::demo {

// The product of a scenario, which can be started, stopped and killed.
class ScenarioProduct {
public:
    virtual ~ScenarioProduct() = default;

    // Raise std::exception when it does not start or stop. To start one that runs, or to stop one
    // that does not, is nothing.
    virtual void Start() = 0;
    virtual void Stop() = 0;
    // Ends it as a process is ended by force.
    virtual void Kill() = 0;

    // Makes the loader that reaches it. The product outlives the loader.
    virtual plugins::loader::LoaderFactory Loader(vek::trace::TracerPtr tracer) = 0;

    // Takes over what the product says of the plug-in's trace.
    virtual void SetTrace(vek::trace::FileTracerConfig& config) const = 0;

    // Replaces the settings that it gives to the plug-in.
    virtual void Set(const plugins::product::MailPluginSettings& settings) = 0;
};

// Makes one in this process, none of whose services can be reached while it does not run. Raises
// std::runtime_error for a file with lines that are no rules.
std::unique_ptr<ScenarioProduct> MakeLocalProduct(const std::filesystem::path& rules);

// A product's process as a scenario uses it.
struct RemoteProductOptions {
    std::filesystem::path folder;              // it is installed there (product.md)
    std::vector<std::string> first_arguments;  // that the first start has besides
    plugins::loader::LoaderTimes times;        // of the loader that reaches it
    vek::platform::Registry* registry = &vek::platform::TheRegistry();  // names it, on Windows
};

// Makes one in a process of its own, found as an installed one is.
std::unique_ptr<ScenarioProduct> MakeRemoteProduct(RemoteProductOptions options,
                                                   const std::filesystem::path& rules);

}  // namespace sandbox::demo
