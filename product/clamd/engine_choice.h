#pragma once

// Which engine the settings say.

#include <memory>
#include <mutex>

#include "product/content_engine.h"
#include "product/product_log.h"
#include "product/settings_store.h"

namespace reference_product {

// Keeps the engine that the settings name. Any thread may call it.
class EngineChoice {
public:
    // Makes the first engine. Raises std::system_error when it cannot.
    EngineChoice(std::shared_ptr<SettingsStore> settings, Log log);

    // The engine for a message whose check begins now: another one when the settings have changed,
    // the same while they cannot be read, null when they want the rules alone. It must outlive the
    // message's contents. Raises std::system_error when it cannot be made.
    std::shared_ptr<ContentEngine> Current();

private:
    const std::shared_ptr<SettingsStore> settings_;
    const Log log_;
    std::mutex lock_;  // guards what follows
    EngineSettings made_for_;
    std::shared_ptr<ContentEngine> engine_;
};

}  // namespace reference_product
