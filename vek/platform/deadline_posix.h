#pragma once

#include <algorithm>
#include <chrono>
#include <limits>

namespace vek::platform {

// The end of a wait, counted from when it is made.
class Deadline {
public:
    explicit Deadline(std::chrono::milliseconds timeout) noexcept
        : infinite_(timeout.count() < 0), end_(clock::now() + std::min(timeout, kLongest)) {}

    // The milliseconds left as poll takes them: a part counts as a whole one, -1 is no limit.
    int Left() const noexcept {
        if (infinite_) return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - clock::now());
        return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
    }

private:
    using clock = std::chrono::steady_clock;

    // The longest that poll takes, 24 days.
    static constexpr std::chrono::milliseconds kLongest{std::numeric_limits<int>::max()};

    bool infinite_;
    clock::time_point end_;
};

}  // namespace vek::platform
