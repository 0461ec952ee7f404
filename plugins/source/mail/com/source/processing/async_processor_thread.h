#pragma once

#include <chrono>
#include <memory>

#include "processing/async_work.h"

namespace plugins::mail_processing {

// The background thread. Operations are its owner's, on one thread; one that was started is stopped
// before this is destroyed.
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

    // Waits for the message under check and ends the thread, by force after the time-out. Raises
    // helpers::HResultCodeException when that fails, too; the thread is given up even then.
    void Stop();

private:
    const std::shared_ptr<AsyncWork> work_;
    vek::platform::System& system_;
    const vek::trace::TracerPtr tracer_;
    const std::chrono::milliseconds stop_timeout_;
    std::unique_ptr<vek::platform::Thread> thread_;
};

}  // namespace plugins::mail_processing
