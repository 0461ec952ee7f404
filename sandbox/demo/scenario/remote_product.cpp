#include <thread>
#include <utility>

#include "common/product_info/product_info.h"
#include "sandbox/demo/scenario/reachable_product.h"

namespace sandbox::demo {
namespace {

class RemoteProduct final : public ReachableProduct {
public:
    RemoteProduct(const RemoteProductOptions& options, std::filesystem::path rules)
        : options_(options),
          process_(MakeProductProcess(
              {options_.folder, std::move(rules), options_.first_arguments,
               [](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }})) {}

    void Start() override { process_->Start(); }
    void Stop() override { process_->Stop(); }
    void Kill() override { process_->Kill(); }
    void Set(const plugins::product::MailPluginSettings& settings) override {
        process_->Set(settings);
    }

    plugins::loader::LoaderFactory Loader(vek::trace::TracerPtr tracer) override {
        return plugins::loader::ProductLoaderFactory(
            {.registry = *options_.registry, .tracer = std::move(tracer)}, options_.times);
    }

    void SetTrace(vek::trace::FileTracerConfig& config) const override {
        plugins::product_info::ReadTraceValues(plugins::product_info::InstalledProduct(), config);
    }

private:
    const RemoteProductOptions options_;
    const std::unique_ptr<ScenarioProduct> process_;
};

}  // namespace

std::unique_ptr<ReachableProduct> MakeRemoteProduct(const RemoteProductOptions& options,
                                                    const std::filesystem::path& rules) {
    return std::make_unique<RemoteProduct>(options, rules);
}

}  // namespace sandbox::demo
