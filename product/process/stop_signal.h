#pragma once

#include <chrono>
#include <memory>

namespace reference_product {

// Takes the signals to stop the process: SIGINT and SIGTERM, or Ctrl-C and Ctrl-Break on Windows,
// where a service's child is stopped by the end of its standard input. A process has one, made
// before its other threads.
class StopSignal {
public:
    explicit StopSignal(bool is_services_child);
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    // Waits for a signal, on the thread that made this object; false when the time is over.
    bool Wait(std::chrono::milliseconds time);

private:
    struct State;
    const std::unique_ptr<State> state_;
};

}  // namespace reference_product
