#pragma once

#include <chrono>
#include <thread>

namespace tests {

// Waits for what another thread does. False when it was not done in 10 s.
template <class Condition>
bool WaitUntil(const Condition& condition) {
    for (int i = 0; i < 10000; ++i) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

}  // namespace tests
