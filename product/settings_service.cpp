#include "product/settings_service.h"

#include <utility>

#include "vek/core/border.h"

namespace reference_product {

using plugins::product::MailPluginSettings;
using plugins::product::MailSettings;

SettingsService::SettingsService(std::shared_ptr<SettingsStore> store, Caller caller, Log log)
    : store_(std::move(store)), caller_(std::move(caller)), log_(std::move(log)) {}

vek::result_t SettingsService::GetSettings(MailPluginSettings& settings) noexcept {
    return vek::AtBorder([&] {
        ProductSettings current;
        const vek::result_t code = store_->Get(caller_.account, current);
        if (vek::Succeeded(code)) settings = current.plugin;
        return code;
    });
}

vek::result_t SettingsService::SetUserSettings(const MailSettings& settings) noexcept {
    try {
        return store_->SetSwitches(caller_.account, settings);
    } catch (...) {
        log_("settings cannot be changed by " + caller_.account + ": " +
             vek::CurrentExceptionText());
        return vek::CurrentExceptionResult();
    }
}

}  // namespace reference_product
