#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "common/common/registry_watcher.h"
#include "common/product_info/product_library.h"

namespace plugins::product_info {

// Follows what the installed product says of itself: its update, removal and return.
class ProductInfoWatcher {
public:
    // `on_change` is called on the watch thread when another information library is named, or the
    // same one anew, or none any more; it must not wait. Raises what Subscribe does.
    ProductInfoWatcher(vek::RefPtr<common::IRegistryWatcher> registry,
                       LibraryEnvironment environment, std::function<void()> on_change);
    // Waits for a call of `on_change`; there is none afterwards. Any thread.
    ~ProductInfoWatcher();
    ProductInfoWatcher(const ProductInfoWatcher&) = delete;
    ProductInfoWatcher& operator=(const ProductInfoWatcher&) = delete;

    // The product is about to be looked for: a key that was missing is found thereby, which is
    // tried once in 30 seconds at most. For LibraryEnvironment::on_attempt. Any thread.
    void OnAttempt() noexcept;

private:
    const vek::RefPtr<common::IRegistryWatcher> registry_;
    const vek::trace::TracerPtr tracer_;
    vek::platform::Clock& clock_;
    const common::RegistrySubscriberPtr subscriber_;
    std::atomic<std::uint32_t> looked_at_;  // in the clock's ticks
};

}  // namespace plugins::product_info
