#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "private_include/common/product_settings.h"

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

    // Replaces the settings that it gives to the plug-in.
    virtual void Set(const plugins::product::MailPluginSettings& settings) = 0;
};

// Writes the settings.json of a product into its folder. Raises std::runtime_error.
void WriteSettings(const std::filesystem::path& folder,
                   const plugins::product::MailPluginSettings& settings);

// A product's process as a scenario uses it.
struct ProductProcessOptions {
    std::filesystem::path folder;  // it is installed there (product.md)
    std::filesystem::path rules;
    std::vector<std::string> first_arguments;  // that the first start has besides
    // Waits that long. Whoever has a message loop serves it meanwhile.
    std::function<void(std::chrono::milliseconds)> pause;
    std::vector<std::string> arguments = {};  // that each start has
};

// Makes one in a process of its own.
std::unique_ptr<ScenarioProduct> MakeProductProcess(ProductProcessOptions options);

}  // namespace sandbox::demo
