#include <gtest/gtest.h>

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
    for (const auto& [time, expected] : cases) {
        const CalendarTime got = ToCalendar(time);
        EXPECT_EQ(std::tie(got.year, got.month, got.day, got.hour, got.minute, got.second,
                           got.millisecond),
                  std::tie(expected.year, expected.month, expected.day, expected.hour,
                           expected.minute, expected.second, expected.millisecond))
            << time;
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
    const std::time_t now = std::time(nullptr);
    const filetime_t utc = TheClock().UtcNow();
    EXPECT_NEAR(static_cast<double>(utc - kUnixEpoch) / 1e7, static_cast<double>(now), 2.0);

    const CalendarTime local = ToCalendar(TheClock().ToLocal(utc));
    const std::tm expected = *std::localtime(&now);
    EXPECT_LE(
        std::abs((local.hour * 60 + local.minute) - (expected.tm_hour * 60 + expected.tm_min)), 1);

    const std::uint32_t before = TheClock().TickCount();
    std::this_thread::sleep_for(std::chrono::milliseconds{60});
    EXPECT_NEAR(TheClock().TickCount() - before, 60, 40);
}

}  // namespace
