#pragma once

#include <chrono>
#include <memory>

namespace reference_product {

// Takes what the user or the system sends to stop the process: SIGINT and SIGTERM, or Ctrl-C and
// Ctrl-Break on Windows. One for a process, made before it has other threads.
class StopSignal {
public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    // Waits for it, on the thread that made this; false when the time is over.
    bool Wait(std::chrono::milliseconds time);

private:
    struct State;
    const std::unique_ptr<State> state_;
};

}  // namespace reference_product
