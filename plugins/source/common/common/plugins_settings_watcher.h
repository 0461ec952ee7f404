#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "common/common/registry_watcher.h"
#include "private_include/common/settings_watcher.h"

namespace plugins::common {

// Follows the key under which administrators impose settings.
class PluginsSettingsWatcher final : public vek::ObjectImpl<ISettingsWatcher> {
public:
    PluginsSettingsWatcher(vek::RefPtr<IRegistryWatcher> registry,
                           helpers::RegistryKeyPath policy_key);

    vek::result_t Subscribe(ISettingsListener* listener) noexcept override;
    vek::result_t Unsubscribe(ISettingsListener* listener) noexcept override;

private:
    const vek::RefPtr<IRegistryWatcher> registry_;
    const helpers::RegistryKeyPath policy_key_;
    vek::platform::Lock lock_;  // guards what follows; never held during a call out
    std::vector<std::pair<ISettingsListener*, RegistrySubscriberPtr>> listeners_;
};

}  // namespace plugins::common
