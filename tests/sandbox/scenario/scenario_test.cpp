// Scenarios with the whole add-in, the product in this process.

#include <gmock/gmock.h>

#include <sstream>

#include "mapi/property_tags.h"
#include "product/state/text_file.h"
#include "sandbox/demo/scenario/damage.h"
#include "sandbox/demo/scenario/parser.h"
#include "sandbox/demo/scenario/scenario_run.h"
#include "sandbox/demo/scenario/scenario_table.h"
#include "sandbox/demo/scenario/silence.h"
#include "sandbox/outlook/message_file.h"
#include "tests/product/product_folder.h"
#include "vek/remoting/call_wait.h"

namespace sandbox::demo {
namespace {

namespace tag = plugins::mapi::tag;
using outlook::PropertyValue;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// A folder with one mail, "plain", and rules that change every mail.
class Scenario : public testing::Test {
protected:
    Scenario() {
        mail_.properties.Set(tag::kMessageClassA, PropertyValue::Text("IPM.Note"));
        mail_.properties.Set(tag::kSubjectA, PropertyValue::Text("Hello"));
        // Mail without one is not checked on read.
        mail_.properties.Set(tag::kSenderNameA, PropertyValue::Text("Jo"));
        outlook::SaveMessageFile(folder_.path() / "plain.json", mail_);
        using reference_product::ReplaceTextFile;
        ReplaceTextFile(folder_.path() / "manifest.json",
                        R"({"messages": [{"source": "plain.eml", "message": "plain.json"}]})");
        ReplaceTextFile(folder_.path() / "test.rules",
                        "when incoming any do set-subject \"[in] {subject}\"\n"
                        "when outgoing any do set-subject \"[out] {subject}\"\n");
    }

    // Plays a scenario and gives what became of each message, and its subject.
    std::vector<std::string> WordsOf(const std::string& scenario) {
        Player player(options_);
        player.Connect();
        for (const ScenarioEvent& event : ParseScenario(scenario, "test")) {
            player.Play(event);
            player.clock().Advance(1000);  // the settings are asked for once a second
        }
        player.Quit();
        std::vector<std::string> words;
        for (const Row& row : player.scoreboard().rows())
            if (!row.entry_id.empty())
                words.push_back(InWords(row) + ": " + player.Subject(row.entry_id));
        player.Inspect(false);
        EXPECT_THAT(player.troubles(), testing::IsEmpty());
        EXPECT_TRUE(player.leftovers().none());
        return words;
    }

    const tests::TemporaryFolder folder_;
    outlook::MessageRecord mail_;
    PlayerOptions options_{folder_.path(), folder_.path(), folder_.path() / "test.rules", {}};
};

TEST_F(Scenario, TellsWhatBecameOfEachMessage) {
    EXPECT_THAT(
        WordsOf("deliver plain\nwait idle\nsettings checkOnDelivery=false\ndeliver plain\n"
                "open plain#2\nsend plain unsaved\npolicy checkOnRead=true\nsend plain\n"
                "policy none\nproduct kill\nsend plain\nproduct start\n"
                "fault MailItem.MAPIOBJECT 1 0x80004005\nsend plain\n"
                "within MailItem.MAPIOBJECT 1 open plain#1\nsend plain\n"),
        ElementsAre("checked in background: [in] Hello", "skipped: not wanted: [in] Hello",
                    "checked on read: [in] Hello", "checked on send: [out] Hello",
                    "skipped: not wanted: Hello", HasSubstr("not checked, ! result=0x80020224"),
                    HasSubstr("not checked, ! result=0x80004005"), "checked on send: [out] Hello",
                    "skipped: within a send: [in] Hello"));
}

TEST_F(Scenario, AnOldOutlookTellsByExtensionObjectsOfItsOwn) {
    options_.version = "11";
    EXPECT_THAT(WordsOf("settings checkOnDelivery=false\ndeliver plain\nopen plain\n"),
                ElementsAre("skipped: not wanted: [in] Hello", "checked on read: [in] Hello"));
}

TEST_F(Scenario, ComplainsOfWhatCannotBePlayedAndLivesThroughARandomDayInEveryOutlook) {
    std::ostringstream complaints;
    EXPECT_FALSE(RunScenario(options_, ParseScenario("open plain", "x"), complaints));
    EXPECT_THAT(complaints.str(), HasSubstr("WRONG: line 1: "));
    options_.store = outlook::kStrictStore1;
    for (const char* const version : {"11", "12", "14", "15", "16"}) {
        options_.version = version;
        std::ostringstream out;
        EXPECT_TRUE(RunSoak(options_, {.events = 300, .seed = 5}, out)) << version << out.str();
    }
}

TEST_F(Scenario, FindsDamageThatNoCheckHasDone) {
    outlook::MapiSubsystem mapi;
    DamageFinder finder(mapi, options_.rules, {});
    const struct {
        const char* subject;
        int checks;
        bool damaged;
    } kCases[] = {
        {"Hello", 1, false},          {"[in] Hello", 1, false}, {"[out] [in] Hello", 2, false},
        {"[in] [in] Hello", 1, true}, {"[in] Hello", 0, true},  {"Hell", 2, true}};
    for (const auto& row : kCases) {
        outlook::MessageRecord now = mail_;
        now.properties.Set(tag::kSubjectA, PropertyValue::Text(row.subject));
        const std::string name = std::to_string(&row - kCases);
        EXPECT_NE(finder.Find(name, mail_, now, row.checks).empty(), row.damaged) << row.subject;
    }
}

TEST_F(Scenario, TheConnectionToTheProductEndsWithTheAddin) {
    const tests::ProductFolder product("when any do set-subject \"[x]\"\n");
    tests::InstalledAt installed(product.library());
    options_.product.folder = reference_product::PathOf(product.path());
    options_.product.registry = &installed;
    Player player(options_);
    for (int round = 1; round < 3; ++round) {
        player.Connect();
        for (const ScenarioEvent& event : ParseScenario("send plain\n", "test")) player.Play(event);
        EXPECT_TRUE(player.scoreboard().rows().back().is_checked());
        player.Quit();
        EXPECT_TRUE(product.Soon([&] { return product.Logged("  disconnected: ") == round; }));
        player.clock().Advance(1000);
    }
}

// A silent product holds Outlook's thread once, for its deadline, wherever and in whatever event it
// falls silent.
TEST_F(Scenario, ASilentProductHoldsOutlookOnce) {
    // A machine that others share stands still for 200 ms at times.
    constexpr milliseconds kWait{400}, kGone{500}, kNothing{300}, kLoad{2500}, kBack{15000};
    const struct {
        const char *option, *step;
        std::vector<const char*> first;  // the events in which it falls silent
        milliseconds held;
    } kCases[] = {
        {"--stopped-at", "accept", {"connect", "open", "send", "deliver", "options"}, kWait},
        {"--stopped-at", "features", {"send"}, kWait},
        {"--stopped-at", "locator", {"deliver"}, kWait},
        {"--stopped-at", "get-interface", {"options"}, kWait},
        {"--stopped-at", "settings", {"connect", "open"}, kWait},
        {"--stopped-at", "check", {"connect", "send", "quit"}, kGone},
        {"--stopped-at", "mail-object", {"open", "quit"}, kGone},
        {"--silent-at", "accept", {"open"}, kWait},
        {"--silent-at", "features", {"options"}, kWait},
        {"--silent-at", "locator", {"connect"}, kWait},
        {"--silent-at", "get-interface", {"send"}, kWait},
        {"--silent-at", "settings", {"deliver", "send"}, kWait},
    };
    for (const auto& row : kCases) {
        for (const char* const first : row.first) {
            SCOPED_TRACE(std::string(row.option) + ' ' + row.step + ", " + first);
            const tests::ProductFolder product("when any do set-subject \"[x]\"\n");
            tests::InstalledAt installed(product.library());
            options_.product.folder = reference_product::PathOf(product.path());
            options_.product.first_arguments = {row.option, row.step};
            options_.product.registry = &installed;
            const bool quits = first == std::string("quit");  // which is what ends the wait then
            options_.product.times = {
                {kGone / 4, quits ? 100 * kGone : kGone, kGone}, milliseconds{50}, kWait};
            // Connecting has less time of itself.
            options_.event_wait =
                first == std::string("connect") ? vek::remoting::kEventWait : kWait;
            std::vector<HeldTime> times = MeasureSilence(options_, first);
            EXPECT_LT(times.back().time, quits ? kGone + kLoad : kBack);
            times.pop_back();
            int held = 0;
            for (const HeldTime& event : times) {
                EXPECT_LT(event.time, row.held + kLoad) << event.event;
                if (event.time > kNothing) ++held;
            }
            EXPECT_EQ(held, times.empty() ? 0 : 1);
        }
    }
}

}  // namespace
}  // namespace sandbox::demo
