// Scenarios with the whole add-in, the product in this process.

#include <gmock/gmock.h>

#include <sstream>

#include "sandbox/demo/scenario/parser.h"
#include "sandbox/demo/scenario/scenario_run.h"
#include "sandbox/demo/scenario/scenario_table.h"
#include "sandbox/demo/scenario/soak.h"
#include "tests/sandbox/scenario/scenario_folder.h"

namespace sandbox::demo {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// What happened and the subject afterwards, of each event.
std::vector<std::string> Play(Player& player, const std::string& text) {
    player.Connect();
    for (const ScenarioEvent& event : ParseScenario(text, "test")) {
        player.Play(event);
        // As after a second: the settings are asked for anew.
        player.clock().Advance(1000);
    }
    player.Quit();
    std::vector<std::string> words;
    for (const Row& row : player.scoreboard().rows()) {
        if (row.entry_id.empty()) continue;
        words.push_back(InWords(row) + ": " + player.Subject(row.entry_id));
    }
    player.Inspect(false);
    EXPECT_THAT(player.troubles(), IsEmpty());
    EXPECT_TRUE(player.leftovers().none());
    return words;
}

TEST(Scenario, ChecksOnEveryRoad) {
    const ScenarioFolder folder;
    Player player(folder.options());
    EXPECT_THAT(
        Play(player,
             "deliver invoice\n"
             "wait idle\n"
             "settings checkOnDelivery=false\n"
             "deliver plain\n"
             "open plain\n"
             "close plain\n"
             "open plain\n"
             "send plain unsaved\n"
             "policy checkOnRead=true\n"
             "send invoice\n"),
        ElementsAre("checked in background: [in] The bill",
                    "skipped: not wanted on delivery: [in] Hello", "checked on read: [in] Hello",
                    "-: [in] Hello", "skipped: recently checked: [in] Hello",
                    "checked on send: [out] Hello", "skipped: not wanted on send: The bill"));
}

TEST(Scenario, GoesOnWithoutAProductAndWithFailures) {
    const ScenarioFolder folder;
    Player player(folder.options());
    const auto words = Play(player,
                            "product kill\n"
                            "send invoice\n"
                            "product start\n"
                            "fault MailItem.MAPIOBJECT 1 0x80004005\n"
                            "send invoice\n"
                            "within MailItem.MAPIOBJECT 1 open invoice#1\n"
                            "send plain\n");
    ASSERT_EQ(words.size(), 4u);
    EXPECT_THAT(words[0], HasSubstr("not checked, ! CheckResultFailedException"));
    EXPECT_THAT(words[1], HasSubstr("not checked, ! HResultCodeException"));
    EXPECT_EQ(words[2], "checked on send: [out] Hello");
    EXPECT_EQ(words[3], "skipped: within a send: The bill");
}

TEST(Scenario, TellsWhatWentWrong) {
    const ScenarioFolder folder;
    std::ostringstream out;
    EXPECT_FALSE(RunScenario(
        folder.options(), ParseScenario("deliver invoice\nopen plain\ndeliver nobody", "x"), out));
    EXPECT_THAT(out.str(), HasSubstr("WRONG: line 2: open plain: no such mail was delivered\n"
                                     "WRONG: line 3: deliver nobody: there is no mail 'nobody'\n"));
    EXPECT_THAT(out.str(), HasSubstr("damaged: 0 messages\n"));
}

class EveryOutlook : public ::testing::TestWithParam<const char*> {};

TEST_P(EveryOutlook, LivesThroughARandomDay) {
    const ScenarioFolder folder;
    PlayerOptions options = folder.options();
    options.version = GetParam();
    std::ostringstream out;
    EXPECT_TRUE(RunSoak(options, {.events = 300, .seed = 5}, out)) << out.str();
}

INSTANTIATE_TEST_SUITE_P(Versions, EveryOutlook, ::testing::Values("11", "12", "14", "15", "16"));

}  // namespace
}  // namespace sandbox::demo
