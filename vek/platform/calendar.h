#pragma once

// Times as numbers, taken apart, and as text. Functions may be called from any thread.

#include <cstdint>
#include <string>

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

// Appends "Y-MM-DD hh:mm:ss".
void AppendDateAndTime(std::string& text, const CalendarTime& time);

// Appends "hh:mm:ss.mmm".
void AppendTimeOfDay(std::string& text, const CalendarTime& time);

}  // namespace vek::platform
