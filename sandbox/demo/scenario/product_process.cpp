#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

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

class ProductProcess final : public ScenarioProduct {
public:
    explicit ProductProcess(ProductProcessOptions options)
        : options_(std::move(options)), program_(options_.folder / "mlxo_product") {}

    void Start() override {
        using reference_product::PathText;
        if (process_) return;
        std::vector<std::string> arguments{"--folder", PathText(options_.folder), "--rules",
                                           PathText(options_.rules)};
        for (const auto& more : {options_.arguments, std::exchange(options_.first_arguments, {})})
            arguments.insert(arguments.end(), more.begin(), more.end());
        process_ = StartProgram(program_, arguments);
        const reference_product::RunFolder folder(options_.folder);
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (!folder.Running()) {
            if (std::chrono::steady_clock::now() > deadline)
                throw std::runtime_error("the product does not start; see its product.log");
            options_.pause(std::chrono::milliseconds(5));
        }
    }

    void Stop() override {
        if (!process_) return;
        const auto asking = StartProgram(
            program_, {"--folder", reference_product::PathText(options_.folder), "--stop"});
        if (asking->Wait() != 0) throw std::runtime_error("the product does not stop");
        const auto process = std::exchange(process_, nullptr);
        if (process->Wait() != 0) throw std::runtime_error("the product has failed; see its log");
    }

    void Kill() override {
        if (const auto process = std::exchange(process_, nullptr)) process->Kill();
    }

    void Set(const MailPluginSettings& settings) override {
        const std::filesystem::path file = options_.folder / "settings.json";
        // What else they say, as which engine it is, stays.
        auto value =
            nlohmann::ordered_json::parse(reference_product::ReadTextFile(file).value_or("{}"));
        value["isPluginEnabled"] = settings.isPluginEnabled;
        value["checkIncomingOnly"] = settings.checkIncomingOnly;
        value["policySettings"] = nullptr;
        value["userSettings"] = ToJson(settings.userSettings);
        if (settings.policySettings) value["policySettings"] = ToJson(*settings.policySettings);
        reference_product::ReplaceTextFile(file, value.dump(1) + '\n');
    }

private:
    ProductProcessOptions options_;
    const std::filesystem::path program_;
    std::unique_ptr<ChildProcess> process_;
};

}  // namespace

std::unique_ptr<ScenarioProduct> MakeProductProcess(ProductProcessOptions options) {
    return std::make_unique<ProductProcess>(std::move(options));
}

}  // namespace sandbox::demo
