#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "mapi/mapi_functions.h"
#include "processing/async_processor.h"
#include "processing/message_processor.h"
#include "processing/message_queue.h"
#include "settings/product_settings_provider.h"
#include "vek/platform/lock.h"
#include "vek/platform/registry.h"
#include "vek/platform/system.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// What the background thread works on, and what it shares with those who give it work. The thread
// holds a reference of its own: when it is ended by force, that is never given up and nothing that
// it used is freed.
class AsyncWork {
public:
    // Raises helpers::HResultCodeException when an event cannot be made.
    explicit AsyncWork(const AsyncEnvironment& environment);

    // Queues a message that is neither queued nor being checked. Any thread. Raises for want of
    // room.
    void Add(std::u16string_view entry_id);

    // The message being checked, empty when there is none. Any thread.
    std::u16string CurrentEntryId() const;

    // No further message is begun. Any thread.
    void SignalStop() noexcept;

    // From now on no lock is taken: the thread that is about to be ended may hold it.
    void Abandon() noexcept { abandoned_ = true; }

    // The thread was ended by force: the scanner's calls into its message fail from now on.
    void ThreadIsGone() noexcept { processor_->BackgroundThreadIsGone(); }

    // The background thread's whole life, for which it has MAPI initialised.
    void Run() noexcept;

private:
    class CurrentMessage;
    class ThreadEnd;

    bool IsStopping() const noexcept;
    void Serve();
    void Drain();
    bool StopIsSignalled() const;
    std::optional<std::u16string> TakeMessage();
    void Process(std::u16string entry_id) noexcept;

    const std::shared_ptr<ProductSettingsProvider> settings_;
    const std::shared_ptr<MessageProcessor> processor_;
    const std::shared_ptr<const mapi::MapiFunctions> functions_;
    vek::platform::Registry& registry_;
    vek::platform::System& system_;
    const vek::trace::TracerPtr tracer_;
    const std::unique_ptr<vek::platform::Event> stop_;
    const std::unique_ptr<vek::platform::Event> new_message_;
    std::atomic<bool> abandoned_{false};

    // Never held together.
    vek::platform::RecursiveLock queue_lock_;
    MessageQueue queue_;  // guarded by queue_lock_
    mutable vek::platform::RecursiveLock current_lock_;
    std::u16string current_entry_id_;  // guarded by current_lock_; written by the thread alone
};

}  // namespace plugins::mail_processing
