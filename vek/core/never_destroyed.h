#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <thread>
#include <utility>

namespace vek {

// An object of the process that threads may use to the process's very end: it is made where it
// stands, with the first use, and never destroyed. To be a local static variable:
//     static NeverDestroyed<SystemClock> clock;
//     return *clock;
// Of several threads that use it first one makes it, and the others wait.
template <class T>
class NeverDestroyed {
public:
    constexpr NeverDestroyed() noexcept {}
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    // Raises what the object's construction does; then the next use tries again.
    T& operator*() {
        if (state_.load(std::memory_order_acquire) != State::kMade) Make();
        return *reinterpret_cast<T*>(bytes_);
    }

private:
    enum class State : unsigned char { kNone, kBeingMade, kMade };

    void Make() {
        State state = State::kNone;
        while (!state_.compare_exchange_weak(state, State::kBeingMade)) {
            if (state == State::kMade) return;
            state = State::kNone;
            std::this_thread::yield();
        }
        try {
            std::construct_at(reinterpret_cast<T*>(bytes_));
        } catch (...) {
            state_ = State::kNone;
            throw;
        }
        state_ = State::kMade;
    }

    // With its first value a constant, it takes nothing of the language's runtime library, which
    // keeps what it takes when the module is unloaded.
    std::atomic<State> state_{State::kNone};
    alignas(T) std::byte bytes_[sizeof(T)]{};
};

}  // namespace vek
