#include "outlook/recently_checked_cache.h"

#include <gtest/gtest.h>

#include "outlook/mail_item_queries.h"
#include "outlook/outlook_version.h"
#include "tests/support/fake_clock.h"

namespace plugins::mail_processing {
namespace {

constexpr std::uint64_t kSecond = 10'000'000;

TEST(RecentlyCheckedCacheTest, AnEntryLastsThirtySecondsHoweverTheClockIsSet) {
    const std::pair<std::int64_t, bool> table[] = {{0, true},   {30, true},   {31, false},
                                                   {-30, true}, {-31, false}, {-3600, false}};
    for (const auto& [seconds, contained] : table) {
        SCOPED_TRACE(seconds);
        tests::FakeClock clock;
        RecentlyCheckedCache cache(clock);
        cache.Add(u"A");
        clock.utc += static_cast<std::uint64_t>(seconds) * kSecond;
        EXPECT_EQ(cache.Contains(u"A"), contained);
        cache.Add(u"B");
        EXPECT_EQ(cache.size(), contained ? 2u : 1u) << "forgotten when expired";
    }
}

TEST(RecentlyCheckedCacheTest, TheOldestGoesAboveTheCapacity) {
    tests::FakeClock clock;
    RecentlyCheckedCache cache(clock);
    const auto id = [](int i) { return std::u16string(static_cast<std::size_t>(i), u'1'); };
    for (int i = 1; i <= 1000; ++i) cache.Add(id(i)), clock.utc += 100;
    cache.Add(id(1));
    clock.utc -= kSecond;
    cache.Add(id(1001));
    EXPECT_EQ(cache.size(), 1000u);
    EXPECT_TRUE(cache.Contains(id(1))) << "it was made new again";
    EXPECT_FALSE(cache.Contains(id(2)));
    EXPECT_TRUE(cache.Contains(id(1001))) << "new, although the clock was set back";
}

TEST(MessageAgeTest, IsRoundedToTheNearestSecond) {
    constexpr double kDay = 86'400, kNow = 45'000.25;
    const std::pair<double, std::int64_t> table[] = {{0.4, 0},  {0.6, 1},   {1.4, 1},      {1.6, 2},
                                                     {-0.4, 0}, {-0.6, -1}, {kDay, 86'400}};
    for (const auto& [age, seconds] : table)
        EXPECT_EQ(AgeInSeconds(kNow - age / kDay, kNow), seconds) << age;
    tests::FakeClock clock;
    clock.utc = vek::platform::kUnixEpoch + 129'600 * kSecond + kSecond / 2;
    clock.offset_minutes = -12 * 60;
    EXPECT_EQ(LocalOleDate(clock), 25'570.0) << "2 January 1970, 00:00:00";
}

TEST(VersionTest, IsTheNumberBeforeTheFirstDot) {
    const std::pair<std::u16string_view, int> table[] = {
        {u"15.0.0.4569", 15}, {u"12", 12}, {u".12", 0}, {u"x15.0", 0}, {u"9999999999.1", 0}};
    for (const auto& [text, number] : table) EXPECT_EQ(MajorVersion(text), number);
}

TEST(SaveDecisionTest, OnlyOutlook2013SparesTheSharedMessage) {
    const auto decide = [](std::int32_t version, std::u16string_view shared, bool saved) {
        return DecideSave(version, shared, saved, [] { return u"A"; });
    };
    EXPECT_EQ(decide(15, u"A", false), SaveDecision::kHarmful);
    EXPECT_EQ(decide(15, u"B", false), SaveDecision::kSave);
    EXPECT_EQ(decide(16, u"A", false), SaveDecision::kSave);
    EXPECT_EQ(decide(15, u"B", true), SaveDecision::kNotNeeded);
}

}  // namespace
}  // namespace plugins::mail_processing
