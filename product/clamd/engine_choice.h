#pragma once

// Which engine the settings say.

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "product/clamd/clamd_engine.h"
#include "product/product_log.h"
#include "product/settings_store.h"

namespace reference_product {

// Keeps the engine that the settings name. Any thread may call it.
class EngineChoice {
public:
    // Makes the first engine, if the settings can be read. Raises std::system_error when it cannot.
    EngineChoice(std::shared_ptr<SettingsStore> settings, Log log);

    // The engine for a message whose check begins now: another one when the settings have changed,
    // the same while they cannot be read, null when they want the rules alone. It must outlive the
    // message's contents. Raises std::system_error when it cannot be made, std::runtime_error
    // while the settings could never be read.
    std::shared_ptr<ContentEngine> Current();
    // Likewise, for a message of that account, which leaves some of its streams to others'.
    std::shared_ptr<ContentEngine> CurrentOf(std::string account);

private:
    std::shared_ptr<AccountsEngine> Follow(const std::optional<ProductSettings>& settings);

    const std::shared_ptr<SettingsStore> settings_;
    const Log log_;
    std::mutex lock_;                         // guards what follows
    std::optional<EngineSettings> made_for_;  // nothing while the settings were never read
    std::shared_ptr<AccountsEngine> engine_;
};

}  // namespace reference_product
