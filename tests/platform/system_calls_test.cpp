#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <string>
#include <thread>

#include "tests/support/fake_clock.h"
#include "tests/support/scoped_environment.h"
#include "vek/core/exception.h"
#include "vek/platform/environment.h"
#include "vek/platform/library_loader.h"
#include "vek/platform/unique_resource.h"

namespace {

using namespace vek::platform;

TEST(Calendar, TakesTimesApart) {
    const std::pair<filetime_t, const char*> cases[] = {
        {0, "1601-01-01 00:00:00 00:00:00.000"},
        {125'963'423'999'990'000, "2000-02-29 23:59:59 23:59:59.999"},
        {133'541'464'291'000'000, "2024-03-05 21:07:09 21:07:09.100"},
        {9'223'149'887'999'999'999, "30827-12-31 23:59:59 23:59:59.999"},
    };
    for (const auto& [time, expected] : cases) {
        std::string text;
        AppendDateAndTime(text, ToCalendar(time));
        AppendTimeOfDay(text += ' ', ToCalendar(time));
        EXPECT_EQ(text, expected);
    }
    EXPECT_THROW(ToCalendar(9'223'149'888'000'000'000), vek::datetime::TimeSystemError);
}

TEST(Clock, LocalTimeIsOneThatATimeCanBe) {
    tests::FakeClock clock;
    clock.offset_minutes = -210;
    EXPECT_EQ(clock.ToLocal(125'999'999'999), 0u);
    clock.offset_minutes = 210;
    EXPECT_EQ(clock.ToLocal(~filetime_t{0} - 1), ~filetime_t{0});
}

TEST(Clock, TheSystemsAgreesWithTheStandardLibrarys) {
#ifndef _WIN32  // where the zone is no matter of the environment
    const tests::ScopedEnvironment zone("TZ", "EST5");
#endif
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

std::string closed;

struct LetterTraits {
    using value_t = char;
    static value_t None() noexcept { return ' '; }
    static void Close(value_t letter) noexcept { closed += letter; }
};

TEST(UniqueResource, ClosesEachResourceOnceAndAtOnce) {
    {
        UniqueResource<LetterTraits> a('a'), b('b'), released('r');
        EXPECT_EQ(released.Release(), 'r');
        b = std::move(a);
        EXPECT_EQ(closed, "b");
        a = UniqueResource<LetterTraits>('z');
        b = {};
        EXPECT_EQ(closed, "ba");
    }
    EXPECT_EQ(closed, "baz");
}

TEST(LibraryLoader, FindsWhatALibraryExports) {
    LibraryLoader& loader = TheLibraryLoader();
    EXPECT_EQ(loader.Load("no such library"), nullptr);
    EXPECT_EQ(LastError(), system_error::kModuleNotFound);
    std::thread([] { EXPECT_NE(LastError(), system_error::kModuleNotFound); }).join();

    // The C library has another name on each system.
    auto library = loader.Load("msvcrt.dll");
    if (!library) library = loader.Load("libc.so.6");
    ASSERT_NE(library, nullptr);
    SetLastError(system_error_t{5});
    EXPECT_NE(library->Find("malloc"), nullptr);
    EXPECT_EQ(LastError(), system_error_t{5});
    EXPECT_EQ(library->Find("no such symbol"), nullptr);
    EXPECT_EQ(LastError(), system_error::kProcedureNotFound);
    EXPECT_EQ(library->FindOrdinal(0xFFFF), nullptr);
}

TEST(Environment, TellsTextsOfAnyLengthFromNone) {
    EXPECT_EQ(GetEnvironment("MLXO_TEST"), std::nullopt);
    for (const std::size_t length : {1u, 259u, 260u, 2000u}) {
        const std::string value(length, 'x');
        const tests::ScopedEnvironment variable("MLXO_TEST", value);
        EXPECT_EQ(GetEnvironment("MLXO_TEST"), value);
    }
}

}  // namespace
