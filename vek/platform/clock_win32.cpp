#include "vek/platform/clock.h"

#include <windows.h>

#include "vek/core/never_destroyed.h"

namespace vek::platform {
namespace {

class SystemClock final : public Clock {
public:
    std::uint32_t TickCount() noexcept override { return ::GetTickCount(); }

    filetime_t UtcNow() noexcept override {
        FILETIME now;
        ::GetSystemTimeAsFileTime(&now);
        return (static_cast<filetime_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
    }

    std::int32_t UtcOffsetMinutes() noexcept override {
        TIME_ZONE_INFORMATION zone;
        const DWORD season = ::GetTimeZoneInformation(&zone);
        if (season == TIME_ZONE_ID_INVALID) return 0;
        // The biases are what turns local time into UTC.
        LONG bias = zone.Bias;
        if (season == TIME_ZONE_ID_STANDARD) bias += zone.StandardBias;
        if (season == TIME_ZONE_ID_DAYLIGHT) bias += zone.DaylightBias;
        return -bias;
    }
};

}  // namespace

std::chrono::milliseconds Clock::AwakeTime() noexcept {
    ULONGLONG hundred_nanoseconds = 0;
    ::QueryUnbiasedInterruptTime(&hundred_nanoseconds);
    return std::chrono::milliseconds(hundred_nanoseconds / 10'000);
}

Clock& TheClock() noexcept {
    // Never destroyed: what lives until the process ends may use it to the last.
    static NeverDestroyed<SystemClock> clock;
    return *clock;
}

}  // namespace vek::platform
