#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <ctime>
#include <thread>

#include "tests/support/fake_clock.h"
#include "vek/core/exception.h"

namespace {

using namespace vek::platform;

TEST(Calendar, TakesTimesApart) {
    const struct {
        filetime_t time;
        CalendarTime expected;
    } cases[] = {
        {0, {1601, 1, 1, 0, 0, 0, 0}},
        {116'444'736'000'000'000 - 1, {1969, 12, 31, 23, 59, 59, 999}},
        {125'963'423'999'990'000, {2000, 2, 29, 23, 59, 59, 999}},
        {133'541'464'290'450'000, {2024, 3, 5, 21, 7, 9, 45}},
        {9'223'149'887'999'999'999, {30827, 12, 31, 23, 59, 59, 999}},
    };
    const auto fields = [](const CalendarTime& t) {
        return std::array{t.year, t.month, t.day, t.hour, t.minute, t.second, t.millisecond};
    };
    for (const auto& [time, expected] : cases) {
        EXPECT_EQ(fields(ToCalendar(time)), fields(expected)) << time;
    }
    for (const filetime_t time : {filetime_t{9'223'149'888'000'000'000}, ~filetime_t{0}}) {
        EXPECT_THROW(ToCalendar(time), vek::datetime::TimeSystemError);
    }
}

TEST(Clock, LocalTimeStaysWithinWhatATimeCanBe) {
    tests::FakeClock clock;
    clock.offset_minutes = -210;
    EXPECT_EQ(clock.ToLocal(126'000'000'001), 1u);
    EXPECT_EQ(clock.ToLocal(125'999'999'999), 0u);
    clock.offset_minutes = 210;
    EXPECT_EQ(clock.ToLocal(~filetime_t{0} - 1), ~filetime_t{0});
}

TEST(Clock, TheSystemsAgreesWithTheStandardLibrarys) {
    constexpr filetime_t kUnixEpoch = 116'444'736'000'000'000;
    const filetime_t utc = TheClock().UtcNow();
    const auto seconds = static_cast<std::time_t>((utc - kUnixEpoch) / 10'000'000);
    EXPECT_LE(std::time(nullptr) - seconds, 1);
    const CalendarTime local = ToCalendar(TheClock().ToLocal(utc));
    const std::tm expected = *std::localtime(&seconds);
    EXPECT_EQ(local.hour * 60 + local.minute, expected.tm_hour * 60 + expected.tm_min);

    const std::uint32_t before = TheClock().TickCount();
    std::this_thread::sleep_for(std::chrono::milliseconds{60});
    EXPECT_GE(TheClock().TickCount() - before, 40u);
}

}  // namespace
