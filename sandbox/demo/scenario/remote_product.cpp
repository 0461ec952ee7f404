#include <chrono>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>
#include <utility>

#include "common/loader/product_loader.h"
#include "common/product_info/product_info.h"
#include "product/process/product_process.h"
#include "product/state/run_folder.h"
#include "product/state/text_file.h"
#include "sandbox/child_process/child_process.h"
#include "sandbox/demo/scenario/scenario_product.h"

namespace sandbox::demo {
namespace {

using plugins::product::MailPluginSettings;
using plugins::product::MailSettings;

constexpr std::chrono::seconds kPatience{10};

nlohmann::ordered_json ToJson(const MailSettings& switches) {
    return {{"checkOnDelivery", switches.checkOnDelivery != 0},
            {"checkOnRead", switches.checkOnRead != 0},
            {"checkOnSend", switches.checkOnSend != 0}};
}

class RemoteProduct final : public ScenarioProduct {
public:
    RemoteProduct(RemoteProductOptions options, std::filesystem::path rules)
        : options_(std::move(options)),
          folder_(options_.folder),
          first_arguments_(options_.first_arguments),
          rules_(std::move(rules)) {}

    void Start() override {
        if (process_) return;
        std::vector<std::string> arguments{"--folder", reference_product::PathText(folder_),
                                           "--rules", reference_product::PathText(rules_)};
        for (std::string& argument : std::exchange(first_arguments_, {}))
            arguments.push_back(std::move(argument));
        process_ = StartProgram(folder_ / "mlxo_product", arguments);
        const reference_product::RunFolder folder(folder_);
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (!folder.Running()) {
            if (std::chrono::steady_clock::now() > deadline)
                throw std::runtime_error("the product does not start; see its product.log");
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

    void Stop() override {
        if (!process_) return;
        if (reference_product::StopProduct(folder_, kPatience) !=
            reference_product::ExitCode::kStopped)
            throw std::runtime_error("the product does not stop");
        const auto process = std::exchange(process_, nullptr);
        if (process->Wait() != 0) throw std::runtime_error("the product has failed; see its log");
    }

    void Kill() override {
        if (const auto process = std::exchange(process_, nullptr)) process->Kill();
    }

    plugins::loader::LoaderFactory Loader(vek::trace::TracerPtr tracer) override {
        return plugins::loader::ProductLoaderFactory(
            {.registry = *options_.registry, .tracer = std::move(tracer)}, options_.times);
    }

    void SetTrace(vek::trace::FileTracerConfig& config) const override {
        plugins::product_info::ReadTraceValues(plugins::product_info::InstalledProduct(), config);
    }

    void Set(const MailPluginSettings& settings) override {
        nlohmann::ordered_json value = {{"isPluginEnabled", settings.isPluginEnabled},
                                        {"checkIncomingOnly", settings.checkIncomingOnly},
                                        {"policySettings", nullptr},
                                        {"userSettings", ToJson(settings.userSettings)}};
        if (settings.policySettings) value["policySettings"] = ToJson(*settings.policySettings);
        reference_product::ReplaceTextFile(folder_ / "settings.json", value.dump(1) + '\n');
    }

private:
    const RemoteProductOptions options_;
    const std::filesystem::path folder_;
    std::vector<std::string> first_arguments_;
    const std::filesystem::path rules_;
    std::unique_ptr<ChildProcess> process_;
};

}  // namespace

std::unique_ptr<ScenarioProduct> MakeRemoteProduct(RemoteProductOptions options,
                                                   const std::filesystem::path& rules) {
    return std::make_unique<RemoteProduct>(std::move(options), rules);
}

}  // namespace sandbox::demo
