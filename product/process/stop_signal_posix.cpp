#include <csignal>
#include <ctime>

#include "product/process/stop_signal.h"

namespace reference_product {

struct StopSignal::State {
    sigset_t taken;
    sigset_t previous;
};

// A blocked signal stays pending until it is waited for. Threads made later inherit the mask.
StopSignal::StopSignal(bool) : state_(std::make_unique<State>()) {
    ::sigemptyset(&state_->taken);
    ::sigaddset(&state_->taken, SIGINT);
    ::sigaddset(&state_->taken, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &state_->taken, &state_->previous);
}

StopSignal::~StopSignal() { ::pthread_sigmask(SIG_SETMASK, &state_->previous, nullptr); }

bool StopSignal::Wait(std::chrono::milliseconds time) {
    const timespec limit{static_cast<std::time_t>(time.count() / 1000),
                         static_cast<long>(time.count() % 1000) * 1'000'000};
    return ::sigtimedwait(&state_->taken, nullptr, &limit) > 0;
}

}  // namespace reference_product
