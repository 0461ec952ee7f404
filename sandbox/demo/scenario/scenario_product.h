#pragma once

// The product of a scenario, which goes and comes back.

#include <filesystem>
#include <memory>

#include "common/loader/service_access.h"
#include "private_include/common/product_settings.h"
#include "vek/trace/tracer.h"

namespace sandbox::demo {

class ScenarioProduct {
public:
    virtual ~ScenarioProduct() = default;

    // Raise std::exception when it does not start or stop. To start one that runs, or to stop one
    // that does not, is nothing.
    virtual void Start() = 0;
    virtual void Stop() = 0;
    // As when its process is ended by force.
    virtual void Kill() = 0;

    // How the plug-in reaches it. It outlives the loader.
    virtual plugins::loader::LoaderFactory Loader(vek::trace::TracerPtr tracer) = 0;

    // Where the product wants the plug-in's trace; `otherwise` when it does not say.
    virtual std::filesystem::path TraceFolder(const std::filesystem::path& otherwise) const = 0;

    // What it answers to the plug-in from now on.
    virtual void Set(const plugins::product::MailPluginSettings& settings) = 0;
};

// In this process. Not running means that nothing of it can be reached. Raises std::runtime_error
// for rules that are none.
std::unique_ptr<ScenarioProduct> MakeLocalProduct(const std::filesystem::path& rules);

// In a process of its own, installed in `folder` (product.md) and found as an installed one is.
std::unique_ptr<ScenarioProduct> MakeRemoteProduct(const std::filesystem::path& folder,
                                                   const std::filesystem::path& rules);

}  // namespace sandbox::demo
