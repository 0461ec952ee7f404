#pragma once

#include <algorithm>
#include <chrono>

#include "vek/platform/clock.h"

namespace reference_product {

// Says how long after its end a process is started again: after a second, then twice as long each
// time, up to a minute, and after a second again when it has run well for some minutes. One thread
// at a time.
class RestartPolicy {
public:
    static constexpr std::chrono::milliseconds kShortest{1'000};
    static constexpr std::chrono::milliseconds kLongest{60'000};
    static constexpr std::chrono::minutes kWell{5};

    explicit RestartPolicy(vek::platform::Clock& clock = vek::platform::TheClock()) noexcept
        : clock_(clock) {}

    // The process is started. A machine that sleeps does not run it.
    void Started() noexcept { started_ = clock_.AwakeTime(); }

    // The process has ended, or could not be started; gives the pause before the next start.
    std::chrono::milliseconds Ended() noexcept {
        if (clock_.AwakeTime() - started_ >= kWell) next_ = kShortest;
        const std::chrono::milliseconds pause = next_;
        next_ = std::min(2 * next_, kLongest);
        return pause;
    }

private:
    vek::platform::Clock& clock_;
    std::chrono::milliseconds started_{0};
    std::chrono::milliseconds next_ = kShortest;
};

}  // namespace reference_product
