#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "mapi/mapi_functions.h"
#include "processing/check_observer.h"
#include "processing/mapi_initialization.h"
#include "processing/message_processor.h"
#include "settings/product_settings_provider.h"
#include "vek/platform/clock.h"
#include "vek/platform/registry.h"
#include "vek/platform/system.h"
#include "vek/remoting/call_wait.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

class AsyncProcessorThread;
class AsyncWork;

// How long Stop waits for the end of a check before it ends the thread by force.
inline constexpr std::chrono::milliseconds kThreadStopTimeout{60000};

// The surroundings of an async processor. References outlive it.
struct AsyncEnvironment {
    std::shared_ptr<const mapi::MapiFunctions> functions;
    std::shared_ptr<ProductSettingsProvider> settings;
    // Holds the background session, which is to be released before MAPI is given back: others that
    // share it let go of it before the async processor is destroyed.
    std::shared_ptr<MessageProcessor> processor;
    vek::platform::System& system = vek::platform::TheSystem();
    vek::trace::TracerPtr tracer = vek::trace::ProcessTracer();
    std::chrono::milliseconds stop_timeout = kThreadStopTimeout;
    vek::platform::Registry& registry = vek::platform::TheRegistry();
    CheckObserver& observer = NoObserver();
    // For the limited calls of one message (call_wait.h).
    std::chrono::milliseconds event_wait = vek::remoting::kEventWait;
};

// Checks received messages one after the other on a thread of its own, in the order in which they
// were queued. Built, started, prepared to stop, stopped and destroyed on one thread; the other
// operations are for any.
class AsyncProcessor {
public:
    // Initialises MAPI for the calling thread, as the background thread does for itself; when that
    // fails, the processor stays inert. Raises helpers::HResultCodeException when an event cannot
    // be made.
    explicit AsyncProcessor(AsyncEnvironment environment);
    // As Stop, but a failure is traced; gives MAPI back. Takes 64 seconds at most, the stop
    // time-out of 60 seconds included: after an end by force MAPI is given back on another thread,
    // which is not waited for for long.
    ~AsyncProcessor();
    AsyncProcessor(const AsyncProcessor&) = delete;
    AsyncProcessor& operator=(const AsyncProcessor&) = delete;

    // Starts the thread, once. Raises vek::contract::RequireViolation when it was started already,
    // helpers::HResultCodeException when the system gives no thread.
    void Start();

    // No further message is begun; does not wait.
    void PrepareStop() noexcept;

    // Waits for the end of the check under way and ends the thread: by force after the
    // environment's time-out. The messages that are still queued are dropped unchecked. Raises
    // helpers::HResultCodeException when the thread cannot be ended by force either.
    void Stop();

    // Queues the message, unless it is queued or being checked already, and tells the observer
    // which. `entry_id` is in hexadecimal digits. Takes constant time whatever the queue's length.
    // Raises std::length_error and std::bad_alloc alone.
    void AddMessage(std::u16string_view entry_id);

    // The entry id of the message under check; empty when there is none.
    std::u16string GetCurrentEntryId() const;

private:
    const vek::trace::TracerPtr tracer_;
    CheckObserver& observer_;
    vek::platform::System& system_;
    MapiInitialization mapi_;
    // Released before MAPI is given back, with the session unless the environment's processor is
    // held elsewhere; after a forced end MAPI is given back first.
    const std::shared_ptr<AsyncWork> work_;
    std::unique_ptr<AsyncProcessorThread> worker_;  // until Stop
    bool ended_by_itself_ = true;                   // the thread, unless Stop saw otherwise
};

}  // namespace plugins::mail_processing
