#pragma once

#include <chrono>
#include <cstdint>

#include "vek/platform/calendar.h"

namespace vek::platform {

// The time as code that decides by it sees it: a test passes a clock of its own. Any thread may
// call the operations.
class Clock {
public:
    virtual ~Clock() = default;

    // Milliseconds since the system started, wrapping after 49.7 days.
    virtual std::uint32_t TickCount() noexcept = 0;

    // Time since some moment in which the machine was awake: sleep and hibernation do not count.
    // The system's, unless a clock has one of its own.
    virtual std::chrono::milliseconds AwakeTime() noexcept;

    // The time now, in UTC.
    virtual filetime_t UtcNow() noexcept = 0;

    // Minutes to add to UTC for local time as it is now, daylight saving included. Applied to
    // other times too, as FileTimeToLocalFileTime does.
    virtual std::int32_t UtcOffsetMinutes() noexcept = 0;

    // Gives the local time of `utc`, clamped to what a filetime_t can hold.
    filetime_t ToLocal(filetime_t utc) noexcept;
};

// The system's clock and time zone.
Clock& TheClock() noexcept;

}  // namespace vek::platform
