#include "sandbox/demo/scenario/parser.h"

#include <gmock/gmock.h>

namespace sandbox::demo {
namespace {

using std::chrono::milliseconds;

TEST(ScenarioParser, TakesEveryEventWithItsTime) {
    const auto events = ParseScenario(
        "# a comment\n"
        "\n"
        "deliver invoice times 3 # and another\r\n"
        "at 250ms open invoice#2\n"
        "\tafter 2s  close   my.mail/plain.eml\n"
        "send plain unsaved\n"
        "settings isPluginEnabled=false checkOnRead=true\n"
        "policy checkOnSend=true\n"
        "policy none\n"
        "product kill\n"
        "fault MailItem.Save 2 0x80004005\n"
        "fault IMAPIProp.GetProps 1 0x8004010f\n"
        "within MailItem.EntryID 3 open invoice\n"
        "options\n"
        "wait idle\n"
        "at 250ms quit",
        "test");
    ASSERT_EQ(events.size(), 14u);
    EXPECT_EQ(events[0].kind, EventKind::kDeliver);
    EXPECT_EQ(events[0].line, 3);
    EXPECT_EQ(events[0].name, "invoice");
    EXPECT_EQ(events[0].times, 3);
    EXPECT_EQ(events[0].text, "deliver invoice times 3");
    EXPECT_EQ(events[1].at, milliseconds(250));
    EXPECT_EQ(events[1].number, 2);
    EXPECT_EQ(events[1].text, "open invoice#2");
    EXPECT_EQ(events[2].after, milliseconds(2000));
    EXPECT_EQ(events[2].name, "my.mail/plain.eml");
    EXPECT_TRUE(events[3].unsaved);
    EXPECT_THAT(events[4].switches, ::testing::ElementsAre(std::pair("isPluginEnabled", false),
                                                           std::pair("checkOnRead", true)));
    EXPECT_EQ(events[5].kind, EventKind::kPolicy);
    EXPECT_TRUE(events[6].switches.empty());
    EXPECT_EQ(events[7].kind, EventKind::kProductKill);
    EXPECT_EQ(events[8].fault->call, HostCall(outlook::ObjectCall::kSave));
    EXPECT_EQ(events[8].fault->nth, 2u);
    EXPECT_EQ(static_cast<std::uint32_t>(events[8].code), 0x80004005u);
    EXPECT_EQ(events[9].fault->call, HostCall(outlook::Call::kGetProps));
    EXPECT_EQ(events[10].kind, EventKind::kOpen);
    EXPECT_EQ(events[10].within->nth, 3u);
    EXPECT_EQ(events[13].kind, EventKind::kQuit);
}

TEST(ScenarioParser, NamesEveryCallOfTheObjectModel) {
    for (std::size_t i = 0; i < outlook::kObjectCallKinds; ++i) {
        const auto call = static_cast<outlook::ObjectCall>(i);
        EXPECT_EQ(outlook::ObjectCallOf(outlook::NameOf(call)), call) << i;
    }
}

struct BadLine {
    const char* line;
    const char* error;
};

class BadLines : public ::testing::TestWithParam<BadLine> {};

TEST_P(BadLines, AreRefusedWithTheirReason) {
    try {
        ParseScenario("wait idle\n" + std::string(GetParam().line), "day.scenario");
        ADD_FAILURE() << "it was taken";
    } catch (const ScenarioError& error) {
        EXPECT_EQ(error.what(), "day.scenario:2: " + std::string(GetParam().error));
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, BadLines,
    ::testing::Values(
        BadLine{"explode", "there is no event 'explode'"},
        BadLine{"at 5ms", "the event is missing"},
        BadLine{"at soon quit", "'soon' is no time; 250ms or 2s is one"},
        BadLine{"after 5 quit", "'5' is no time; 250ms or 2s is one"},
        BadLine{"after", "the time is missing"}, BadLine{"deliver", "the mail's name is missing"},
        BadLine{"deliver #1", "the mail's name is missing"},
        BadLine{"deliver plain#1", "# is for a mail that was delivered before"},
        BadLine{"deliver plain times 0", "the number of times is from 1 to 100000, not '0'"},
        BadLine{"deliver plain 3", "'3' is too much"},
        BadLine{"open plain#x", "the number after # is from 1 to 100000, not 'x'"},
        BadLine{"send plain saved", "'saved' is too much"},
        BadLine{"wait a while", "what can be waited for is: wait idle"},
        BadLine{"settings", "NAME=true or NAME=false is missing"},
        BadLine{"settings checkAlways=true", "there is no switch 'checkAlways'"},
        BadLine{"settings checkOnRead=on", "checkOnRead is true or false"},
        BadLine{"policy isPluginEnabled=true", "there is no switch 'isPluginEnabled'"},
        BadLine{"product sleep", "a product can start, stop or be killed (kill), not 'sleep'"},
        BadLine{"fault MailItem.Read 1 0x80004005", "there is no call 'MailItem.Read'"},
        BadLine{"fault MailItem.Save 1 0x0", "'0x0' is no failure; 0x80004005 is one"},
        BadLine{"fault MailItem.Save 1 5", "'5' is no failure; 0x80004005 is one"},
        BadLine{"within MailItem.Save 1 quit",
                "within a call only deliver, open, close, send and options can happen"}));

struct BadText {
    const char* text;
    const char* error;
};

TEST(ScenarioParser, TellsOfEveryBadLineAndOfWhatIsOutOfOrder) {
    for (const auto& [text, error] :
         {BadText{"# nothing\n", "x: there is no event in it"},
          BadText{"quit\nopen a\n", "x:2: Outlook has quit in line 1"},
          BadText{"at 2s open a\nat 1s open b\n", "x:2: its time is before that of a line above"},
          BadText{"jump\nopen a\nrun\n",
                  "x:1: there is no event 'jump'\nx:3: there is no event 'run'"}}) {
        try {
            ParseScenario(text, "x");
            ADD_FAILURE() << text;
        } catch (const ScenarioError& refused) {
            EXPECT_STREQ(refused.what(), error);
        }
    }
    EXPECT_THROW(LoadScenario("no such file.scenario"), ScenarioError);
}

}  // namespace
}  // namespace sandbox::demo
