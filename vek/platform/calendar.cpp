#include "vek/platform/calendar.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string_view>

#include "vek/core/exception.h"
#include "vek/platform/clock.h"

namespace vek::platform {
namespace {

using ticks_t = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

constexpr std::chrono::sys_days kEpoch =
    std::chrono::year{1601} / std::chrono::January / std::chrono::day{1};
constexpr std::chrono::sys_days kEnd =
    std::chrono::year{30828} / std::chrono::January / std::chrono::day{1};
constexpr filetime_t kEndTicks =
    static_cast<filetime_t>(std::chrono::duration_cast<ticks_t>(kEnd - kEpoch).count());

constexpr std::int64_t kTicksPerMinute = 600'000'000;

// Appends `separator` and two digits.
void AppendField(std::string& text, std::string_view separator, unsigned value) {
    text += separator;
    text += static_cast<char>('0' + value / 10);
    text += static_cast<char>('0' + value % 10);
}

}  // namespace

CalendarTime ToCalendar(filetime_t time) {
    if (time >= kEndTicks) throw datetime::TimeSystemError(SourceLocation::Here());

    const ticks_t since{static_cast<std::int64_t>(time)};
    const auto days = std::chrono::floor<std::chrono::days>(since);
    const std::chrono::year_month_day date{kEpoch + days};
    const std::chrono::hh_mm_ss clock{
        std::chrono::duration_cast<std::chrono::milliseconds>(since - days)};
    return {static_cast<std::uint16_t>(static_cast<int>(date.year())),
            static_cast<std::uint16_t>(static_cast<unsigned>(date.month())),
            static_cast<std::uint16_t>(static_cast<unsigned>(date.day())),
            static_cast<std::uint16_t>(clock.hours().count()),
            static_cast<std::uint16_t>(clock.minutes().count()),
            static_cast<std::uint16_t>(clock.seconds().count()),
            static_cast<std::uint16_t>(clock.subseconds().count())};
}

void AppendDateAndTime(std::string& text, const CalendarTime& time) {
    text += std::to_string(time.year);
    AppendField(text, "-", time.month);
    AppendField(text, "-", time.day);
    AppendField(text, " ", time.hour);
    AppendField(text, ":", time.minute);
    AppendField(text, ":", time.second);
}

void AppendTimeOfDay(std::string& text, const CalendarTime& time) {
    AppendField(text, "", time.hour);
    AppendField(text, ":", time.minute);
    AppendField(text, ":", time.second);
    text += '.';
    text += static_cast<char>('0' + time.millisecond / 100);
    AppendField(text, "", time.millisecond % 100u);
}

filetime_t Clock::ToLocal(filetime_t utc) noexcept {
    const std::int64_t offset = UtcOffsetMinutes() * kTicksPerMinute;
    const auto distance = static_cast<filetime_t>(std::abs(offset));
    // The sum is clamped, so that an impossible time does not become a possible one.
    if (offset < 0) return utc - std::min(utc, distance);
    return utc + std::min(~filetime_t{0} - utc, distance);
}

}  // namespace vek::platform
