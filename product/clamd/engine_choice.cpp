#include "product/clamd/engine_choice.h"

#include <utility>

#include "product/clamd/clamd_engine.h"

namespace reference_product {

EngineChoice::EngineChoice(std::shared_ptr<SettingsStore> settings, Log log)
    : settings_(std::move(settings)), log_(std::move(log)) {
    Current();
}

std::shared_ptr<ContentEngine> EngineChoice::Current() {
    const std::optional<ProductSettings> settings = settings_->OfAll();
    const std::lock_guard guard(lock_);
    if (!settings || settings->engine == made_for_) return engine_;
    const EngineSettings& wanted = settings->engine;
    std::shared_ptr<ContentEngine> engine;
    if (wanted.name == kClamdEngine) {
        ClamdOptions options;
        options.addresses = wanted.addresses;
        options.per_part = std::chrono::seconds(wanted.seconds_per_part);
        options.per_mail = std::chrono::seconds(wanted.seconds_per_mail);
        engine = MakeClamdEngine(std::move(options), log_, vek::platform::TheClock());
    }
    engine_ = std::move(engine);
    made_for_ = wanted;
    log_("engine: " + made_for_.name);
    return engine_;
}

}  // namespace reference_product
