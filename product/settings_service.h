#pragma once

#include <memory>

#include "private_include/common/product_settings.h"
#include "product/caller.h"
#include "product/settings_store.h"
#include "vek/core/object.h"

namespace reference_product {

// Serves the settings to one caller, by whose account he has switches of his own. A failure is that
// of the store, and the caller's record stays as it was. Any thread may call it.
class SettingsService final : public vek::ObjectImpl<plugins::product::IProductSettings> {
public:
    SettingsService(std::shared_ptr<SettingsStore> store, Caller caller, Log log);

    vek::result_t GetSettings(plugins::product::MailPluginSettings& settings) noexcept override;
    vek::result_t SetUserSettings(const plugins::product::MailSettings& settings) noexcept override;

private:
    const std::shared_ptr<SettingsStore> store_;
    const Caller caller_;
    const Log log_;
};

}  // namespace reference_product
