#include "sandbox/demo/scenario/scoreboard.h"

#include <gmock/gmock.h>

#include "sandbox/demo/scenario/scenario_table.h"

namespace sandbox::demo {
namespace {

using plugins::mail_processing::SkipReason;
using ::testing::ElementsAre;

TEST(Scoreboard, GivesEachCheckToTheEventThatBroughtIt) {
    Scoreboard board;
    const auto words = [&] {
        std::vector<std::string> texts;
        for (const Row& row : board.rows()) texts.push_back(InWords(row));
        return texts;
    };
    const std::size_t queued = board.Begin("deliver a");
    board.OnQueued({1});
    board.OnSkipped({2}, SkipReason::kAlreadyQueued, 0);  // announced twice
    board.End(queued);
    const std::size_t dropped = board.Begin("deliver b");
    board.OnQueued({3});
    board.End(dropped);
    const std::size_t sent = board.Begin("send c");
    const std::size_t within = board.Begin("open d");
    board.OnBegun({1});  // in background, meanwhile
    board.OnSkipped({4}, SkipReason::kSendInProgress, 0);
    board.End(within);
    board.OnBegun({5});
    board.OnEnded({5}, 0x80020224);
    board.End(sent, "id");
    EXPECT_EQ(board.rows()[2].entry_id, "id");
    EXPECT_EQ(board.rows()[3].depth, 1);

    board.OnEnded({1}, 0);
    EXPECT_FALSE(board.IsIdle());
    board.OnSkipped({3}, SkipReason::kClosing, 0);
    EXPECT_TRUE(board.IsIdle());
    EXPECT_THAT(words(), ElementsAre("checked in background", "skipped: Outlook is closing",
                                     testing::StartsWith("check failed on send, ! result=0x8002"),
                                     "skipped: within a send"));
}

}  // namespace
}  // namespace sandbox::demo
