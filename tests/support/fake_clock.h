#pragma once

#include "vek/platform/clock.h"

namespace tests {

// A clock that a test sets; it stands still otherwise.
class FakeClock : public vek::platform::Clock {
public:
    std::uint32_t TickCount() noexcept override { return ticks; }
    vek::platform::filetime_t UtcNow() noexcept override { return utc; }
    std::int32_t UtcOffsetMinutes() noexcept override { return offset_minutes; }

    std::uint32_t ticks = 0;
    // 5 March 2024, 21:07:09.045
    vek::platform::filetime_t utc = 133'541'464'290'450'000;
    std::int32_t offset_minutes = 0;
};

}  // namespace tests
