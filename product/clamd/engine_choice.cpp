#include "product/clamd/engine_choice.h"

#include <stdexcept>
#include <utility>

namespace reference_product {
namespace {

// An engine as one account's messages have it.
class EngineOfAccount final : public ContentEngine {
public:
    EngineOfAccount(std::shared_ptr<AccountsEngine> engine, std::string account)
        : engine_(std::move(engine)), account_(std::move(account)) {}

    std::unique_ptr<MailContents> BeginMail() override { return engine_->BeginMailOf(account_); }
    EngineState State() const override { return engine_->State(); }

private:
    const std::shared_ptr<AccountsEngine> engine_;
    const std::string account_;
};

}  // namespace

EngineChoice::EngineChoice(std::shared_ptr<SettingsStore> settings, Log log)
    : settings_(std::move(settings)), log_(std::move(log)) {
    if (const auto first = settings_->OfAll()) Follow(first);
}

std::shared_ptr<ContentEngine> EngineChoice::Current() { return Follow(settings_->OfAll()); }

std::shared_ptr<ContentEngine> EngineChoice::CurrentOf(std::string account) {
    auto engine = Follow(settings_->OfAll());
    if (!engine) return nullptr;
    return std::make_shared<EngineOfAccount>(std::move(engine), std::move(account));
}

std::shared_ptr<AccountsEngine> EngineChoice::Follow(
    const std::optional<ProductSettings>& settings) {
    const std::lock_guard guard(lock_);
    if (!settings && !made_for_)
        throw std::runtime_error("the settings, which choose the engine, cannot be read");
    if (!settings || settings->engine == made_for_) return engine_;
    const EngineSettings& wanted = settings->engine;
    std::shared_ptr<AccountsEngine> engine;
    if (wanted.name == kClamdEngine) {
        ClamdOptions options;
        options.addresses = wanted.addresses;
        options.per_part = std::chrono::seconds(wanted.seconds_per_part);
        options.per_mail = std::chrono::seconds(wanted.seconds_per_mail);
        engine = MakeClamdEngine(std::move(options), log_, vek::platform::TheClock());
    }
    engine_ = std::move(engine);
    made_for_ = wanted;
    log_("engine: " + wanted.name);
    return engine_;
}

}  // namespace reference_product
