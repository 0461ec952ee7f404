#include "sandbox/demo/scenario/parser.h"

#include <gmock/gmock.h>

#include <sstream>

namespace sandbox::demo {
namespace {

TEST(ScenarioParser, TakesTimesNumbersAndCalls) {
    const auto events = ParseScenario(
        "# a comment\n\ndeliver invoice times 3 # and another\r\nat 250ms open invoice#2\n"
        "settings isPluginEnabled=false checkOnRead=true\nafter 2s send my.mail/plain.eml unsaved\n"
        "fault IMAPIProp.GetProps 2 0x8004010f\nwithin MailItem.EntryID 3 open invoice\n",
        "test");
    ASSERT_EQ(events.size(), 6u);
    EXPECT_EQ(events[0].text, "deliver invoice times 3");
    EXPECT_EQ(events[0].times, 3);
    EXPECT_EQ(events[1].at, std::chrono::milliseconds(250));
    EXPECT_EQ(events[1].number, 2);
    EXPECT_THAT(events[2].switches, testing::ElementsAre(std::pair("isPluginEnabled", false),
                                                         std::pair("checkOnRead", true)));
    EXPECT_EQ(events[3].after, std::chrono::seconds(2));
    EXPECT_TRUE(events[3].unsaved);
    EXPECT_EQ(events[4].fault->call, HostCall(outlook::Call::kGetProps));
    EXPECT_EQ(events[4].fault->nth, 2u);
    EXPECT_EQ(static_cast<std::uint32_t>(events[4].code), 0x8004010fu);
    EXPECT_EQ(events[5].within->call, HostCall(outlook::ObjectCall::kEntryId));
}

TEST(ScenarioParser, RefusesWhatItDoesNotKnow) {
    std::istringstream lines(
        "explode\nat soon quit\nafter 5 quit\nafter\ndeliver\ndeliver plain#1\n"
        "deliver plain times 0\ndeliver plain 3\nopen plain#x\nsend plain saved\nwait a while\n"
        "settings\nsettings checkAlways=true\nsettings checkOnRead=on\nproduct sleep\n"
        "policy isPluginEnabled=true\nfault MailItem.Read 1 0x80004005\n"
        "fault MailItem.Save 1 0x0\nwithin MailItem.Save 1 quit\n");
    for (std::string line; std::getline(lines, line);)
        EXPECT_THROW(ParseScenario("wait idle\n" + line, "x"), ScenarioError) << line;
    EXPECT_THROW(ParseScenario("quit\nopen a", "x"), ScenarioError);
    EXPECT_THROW(ParseScenario("at 2s open a\nat 1s open b", "x"), ScenarioError);
    EXPECT_THROW(ParseScenario("# nothing\n", "x"), ScenarioError);
}

}  // namespace
}  // namespace sandbox::demo
