#include "sandbox/demo/scenario/parser.h"

#include <gtest/gtest.h>

#include <sstream>

namespace sandbox::demo {
namespace {

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
