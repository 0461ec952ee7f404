#pragma once

#include <cstdint>

namespace vek::platform {

// A time as Windows' FILETIME counts it: 100 ns units since 1 January 1601, in UTC or local.
using filetime_t = std::uint64_t;

// 1 January 1970, from which other systems count.
inline constexpr filetime_t kUnixEpoch = 116'444'736'000'000'000;

// A time taken apart; month and day start at 1.
struct CalendarTime {
    std::uint16_t year, month, day, hour, minute, second, millisecond;
};

// Raises vek::datetime::TimeSystemError for a time beyond the year 30827, the last that a
// SYSTEMTIME can hold.
CalendarTime ToCalendar(filetime_t time);

// What decides by time takes one of these.
class Clock {
public:
    virtual ~Clock() = default;

    // Milliseconds since the system started, wrapping after 49.7 days.
    virtual std::uint32_t TickCount() noexcept = 0;

    virtual filetime_t UtcNow() noexcept = 0;

    // Minutes to add to UTC for local time as it is now, daylight saving included. Applied to
    // other times too, as FileTimeToLocalFileTime does.
    virtual std::int32_t UtcOffsetMinutes() noexcept = 0;

    filetime_t ToLocal(filetime_t utc) noexcept;
};

// The system's clock and time zone.
Clock& TheClock() noexcept;

}  // namespace vek::platform
