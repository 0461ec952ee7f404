#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "mapi/mapi_functions.h"
#include "processing/async_processor.h"
#include "processing/check_observer.h"
#include "processing/message_processor.h"
#include "processing/message_queue.h"
#include "settings/product_settings_provider.h"
#include "vek/platform/lock.h"
#include "vek/platform/registry.h"
#include "vek/platform/system.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// The background thread's work: the queue, the message under check and the two events that wake the
// thread. The thread holds a reference of its own. When it is ended by force it never gives that
// up, so that nothing which it used is freed.
class AsyncWork {
public:
    // Raises helpers::HResultCodeException when an event cannot be made.
    explicit AsyncWork(const AsyncEnvironment& environment);

    // Queues a message unless it is queued or being checked; the observer is told either way. Any
    // thread. Raises std::length_error and std::bad_alloc alone.
    void Add(std::u16string_view entry_id);

    // The message being checked, empty when there is none. Any thread.
    std::u16string CurrentEntryId() const;

    // No further message is begun. Any thread.
    void SignalStop() noexcept;

    // To be called before the thread is ended by force: the scanner's calls into its message are
    // refused from now on, so that the thread comes to wait where it holds nothing, or ends. No
    // message is queued any more.
    void Abandon() noexcept;

    // To be called after the thread was ended by force: its check has ended, and so has the call of
    // the scanner's that it was in.
    void ThreadIsGone() noexcept;

    // Empties the queue: none of its messages will be checked. To be called after SignalStop.
    void DropQueue() noexcept;

    // The thread's function: has MAPI initialised and a session while it works.
    void Run() noexcept;

private:
    class CurrentMessage;
    class ThreadEnd;

    bool IsStopping() const noexcept;
    void Serve();
    void Drain();
    bool StopIsSignalled() const;
    std::optional<QueuedMessage> TakeMessage();
    void Process(QueuedMessage message) noexcept;

    const std::shared_ptr<ProductSettingsProvider> settings_;
    const std::shared_ptr<MessageProcessor> processor_;
    const std::shared_ptr<const mapi::MapiFunctions> functions_;
    vek::platform::Registry& registry_;
    vek::platform::System& system_;
    const vek::trace::TracerPtr tracer_;
    CheckObserver& observer_;
    const std::chrono::milliseconds event_wait_;
    const std::unique_ptr<vek::platform::Event> stop_;
    const std::unique_ptr<vek::platform::Event> new_message_;
    std::atomic<bool> abandoned_{false};

    // Never held together.
    vek::platform::RecursiveLock queue_lock_;
    MessageQueue queue_;  // guarded by queue_lock_
    mutable vek::platform::RecursiveLock current_lock_;
    std::u16string current_entry_id_;  // guarded by current_lock_; the thread alone sets it
    std::atomic<check_number_t> current_number_{0};  // 0 between two messages
};

// The background thread. Used by its owner alone, on one thread; a started one is stopped before it
// is destroyed.
class AsyncProcessorThread {
public:
    AsyncProcessorThread(std::shared_ptr<AsyncWork> work, vek::platform::System& system,
                         vek::trace::TracerPtr tracer, std::chrono::milliseconds stop_timeout);
    AsyncProcessorThread(const AsyncProcessorThread&) = delete;
    AsyncProcessorThread& operator=(const AsyncProcessorThread&) = delete;

    // Raises vek::contract::RequireViolation when it runs already, helpers::HResultCodeException
    // when the system gives no thread.
    void Start();

    bool IsStarted() const noexcept { return thread_ != nullptr; }

    // Waits for the message under check and ends the thread, by force after the time-out. True when
    // it was not ended by force. Raises helpers::HResultCodeException when that fails, too; the
    // thread is given up even then.
    bool Stop();

private:
    const std::shared_ptr<AsyncWork> work_;
    vek::platform::System& system_;
    const vek::trace::TracerPtr tracer_;
    const std::chrono::milliseconds stop_timeout_;
    std::unique_ptr<vek::platform::Thread> thread_;
};

}  // namespace plugins::mail_processing
