#include <atomic>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "product/rules.h"
#include "sandbox/demo/scenario/reachable_product.h"

namespace sandbox::demo {
namespace {

using plugins::product::MailPluginSettings;
using plugins::product::MailSettings;

constexpr vek::result_t kGone = vek::result::kRemoteCallFailed;

reference_product::RuleSet Load(const std::filesystem::path& path) {
    reference_product::ParsedRules parsed = reference_product::LoadRules(path);
    std::string errors;
    for (const reference_product::RuleError& error : parsed.errors)
        errors += reference_product::ToText(error) + '\n';
    if (!errors.empty()) throw std::runtime_error(errors);
    return std::move(parsed.rules);
}

// Settings that are kept in memory.
class Settings final : public vek::ObjectImpl<plugins::product::IProductSettings> {
public:
    explicit Settings(std::shared_ptr<const std::atomic<bool>> runs) : runs_(std::move(runs)) {}

    vek::result_t GetSettings(MailPluginSettings& settings) noexcept override {
        if (!*runs_) return kGone;
        const std::lock_guard lock(mutex_);
        settings = settings_;
        return vek::result::kOk;
    }
    vek::result_t SetUserSettings(const MailSettings& settings) noexcept override {
        if (!*runs_) return kGone;
        const std::lock_guard lock(mutex_);
        settings_.userSettings = settings;
        return vek::result::kOk;
    }
    void Set(const MailPluginSettings& settings) {
        const std::lock_guard lock(mutex_);
        settings_ = settings;
    }

private:
    const std::shared_ptr<const std::atomic<bool>> runs_;
    std::mutex mutex_;
    MailPluginSettings settings_;
};

class LocalProduct final : public ReachableProduct {
public:
    LocalProduct(const std::filesystem::path& rules, reference_product::EngineSource source)
        : settings_(vek::MakeObject<Settings>(runs_)) {
        auto engine = std::make_shared<const reference_product::ScannerEngine>(Load(rules),
                                                                               std::move(source));
        product_ = vek::MakeObject<reference_product::InProcessProduct>(
            vek::MakeObject<reference_product::ScriptedScanner>(
                [engine, runs = runs_](bool incoming,
                                       plugins::mail_processing::IMailMessage& mail) {
                    return *runs ? engine->Check(incoming, mail).result : kGone;
                }));
        product_->Offer(plugins::product::IProductSettings::kInterfaceId, settings_);
        LocalProduct::Kill();
    }

    void Start() override {
        *runs_ = true;
        product_->FailLoader(vek::result::kOk);
    }
    void Stop() override { Kill(); }
    void Kill() override {
        *runs_ = false;
        product_->FailLoader(kGone);
    }

    plugins::loader::LoaderFactory Loader(vek::trace::TracerPtr) override {
        return [this](vek::RefPtr<plugins::ILoader>& loader) {
            loader = product_;
            return vek::result::kOk;
        };
    }

    void SetTrace(vek::trace::FileTracerConfig&) const override {}

    void Set(const MailPluginSettings& settings) override { settings_->Set(settings); }

private:
    const std::shared_ptr<std::atomic<bool>> runs_ = std::make_shared<std::atomic<bool>>(false);
    const vek::RefPtr<Settings> settings_;
    vek::RefPtr<reference_product::InProcessProduct> product_;
};

}  // namespace

std::unique_ptr<ReachableProduct> MakeLocalProduct(const std::filesystem::path& rules,
                                                   reference_product::EngineSource engine) {
    return std::make_unique<LocalProduct>(rules, std::move(engine));
}

}  // namespace sandbox::demo
