#include "common/common/plugins_settings_watcher.h"

#include <mutex>

#include "vek/core/border.h"

namespace plugins::common {
namespace {

// Passes changes on to one listener.
class ListeningSubscriber final : public vek::ObjectImpl<IRegistrySubscriber> {
public:
    explicit ListeningSubscriber(vek::RefPtr<ISettingsListener> listener)
        : listener_(std::move(listener)) {}
    void changed(const helpers::RegistryKeyPath&) override { listener_->OnSettingsChanged(); }

private:
    const vek::RefPtr<ISettingsListener> listener_;
};

}  // namespace

PluginsSettingsWatcher::PluginsSettingsWatcher(vek::RefPtr<IRegistryWatcher> registry,
                                               helpers::RegistryKeyPath policy_key)
    : registry_(std::move(registry)), policy_key_(std::move(policy_key)) {}

vek::result_t PluginsSettingsWatcher::Subscribe(ISettingsListener* listener) noexcept {
    return vek::AtBorder([&] {
        const RegistrySubscriberPtr subscriber =
            vek::MakeObject<ListeningSubscriber>(vek::RefPtr<ISettingsListener>::Share(listener));
        {
            const std::lock_guard guard(lock_);
            listeners_.emplace_back(listener, subscriber);
        }
        registry_->Subscribe(policy_key_, subscriber);
    });
}

vek::result_t PluginsSettingsWatcher::Unsubscribe(ISettingsListener* listener) noexcept {
    return vek::AtBorder([&] {
        std::vector<RegistrySubscriberPtr> left;
        {
            const std::lock_guard guard(lock_);
            std::erase_if(listeners_, [&](auto& one) {
                if (one.first != listener) return false;
                left.push_back(std::move(one.second));
                return true;
            });
        }
        for (const RegistrySubscriberPtr& subscriber : left)
            registry_->Unsubscribe(subscriber.get());
    });
}

}  // namespace plugins::common
