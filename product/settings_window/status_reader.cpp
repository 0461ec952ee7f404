#include "product/settings_window/status_reader.h"

#include <utility>

namespace reference_product {

StatusReader::StatusReader(plugins::loader::ServiceAccess& services, Listener listener,
                           std::chrono::milliseconds pause)
    : services_(services),
      listener_(std::move(listener)),
      pause_(pause),
      thread_([this] { Read(); }) {}

StatusReader::~StatusReader() {
    {
        const std::lock_guard guard(lock_);
        ending_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void StatusReader::Store(const plugins::product::MailSettings& switches) {
    {
        const std::lock_guard guard(lock_);
        to_store_ = switches;
    }
    changed_.notify_all();
}

void StatusReader::Read() noexcept {
    std::unique_lock guard(lock_);
    while (!ending_ || to_store_) {
        const auto switches = std::exchange(to_store_, std::nullopt);
        guard.unlock();
        std::optional<vek::result_t> stored;
        if (switches) stored = StoreSwitches(services_, *switches);
        guard.lock();
        if (ending_) continue;
        guard.unlock();
        WindowSnapshot snapshot = ReadSnapshot(services_);
        guard.lock();
        if (ending_) continue;
        // With the lock: the end waits for a listener that is being told.
        listener_(std::move(snapshot), stored);
        changed_.wait_for(guard, pause_, [this] { return ending_ || to_store_; });
    }
}

}  // namespace reference_product
