#include "sandbox/demo/scenario/scoreboard.h"

#include <gmock/gmock.h>

#include "sandbox/demo/scenario/scenario_table.h"
#include "vek/platform/thread.h"

namespace sandbox::demo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t kBackground = 1'000'001;
constexpr std::uint32_t kWorker = 1'000'002;

class ScoreboardTest : public ::testing::Test {
protected:
    void Outlook(std::string_view text) {
        board_.Note(vek::platform::CurrentThreadId(), 700, text);
    }
    void Background(std::string_view text) { board_.Note(kBackground, 700, text); }
    void Event(const char* text, std::initializer_list<const char*> lines) {
        const std::size_t row = board_.Begin(text);
        for (const char* line : lines) Outlook(line);
        board_.End(row);
    }
    std::vector<std::string> Words() const {
        std::vector<std::string> words;
        for (const Row& row : board_.rows()) words.push_back(InWords(row));
        return words;
    }

    Scoreboard board_;
};

TEST_F(ScoreboardTest, GivesEachCheckInBackgroundToItsEvent) {
    Event("deliver a", {"Message is added to queue, queue now contains 1 messages"});
    Event("deliver b", {"Message is added to queue, queue now contains 2 messages",
                        "Message is already present in queue"});
    Event("deliver c", {"OnNewMailEx no need to check"});
    EXPECT_FALSE(board_.IsIdle());
    Background("[ASYNC] Processing message from queue, 1 messages remain...");
    Background("=> ProcessMessage");
    board_.Note(kBackground, 300, "HResultCodeException: no such property");
    Background("<= ProcessMessage");
    EXPECT_THAT(Words(),
                ElementsAre("checked in background", "queued", "skipped: not wanted on delivery"));
    Background("[ASYNC] Processing message from queue, 0 messages remain...");
    Background("[ASYNC] Processing of message is skipped, task not ready");
    EXPECT_FALSE(board_.IsIdle());
    Background("[ASYNC] Message queue is empty");
    EXPECT_TRUE(board_.IsIdle());
    EXPECT_EQ(Words()[1], "skipped: plug-in is off");
    EXPECT_THAT(board_.other_failures(), IsEmpty());
}

TEST_F(ScoreboardTest, GivesAFailureToTheCheckThatEndsWithIt) {
    Event("deliver a", {"Message is added to queue, queue now contains 1 messages"});
    Background("[ASYNC] Processing message from queue, 0 messages remain...");
    Background("=> ProcessMessage");
    const std::size_t row = board_.Begin("open b");
    Outlook("=> ProcessMessage");
    board_.Note(kWorker, 300, "CheckResultFailedException");
    Outlook("<= ProcessMessage");
    board_.End(row);
    Background("<= ProcessMessage");
    EXPECT_THAT(Words(), ElementsAre("checked in background",
                                     "check failed on read, ! CheckResultFailedException"));
}

TEST_F(ScoreboardTest, KnowsEventsWithinOthersAndWhatIsLeftAtTheEnd) {
    const std::size_t outer = board_.Begin("send a");
    Event("open b", {"Item send is already processing this message"});
    board_.Note(vek::platform::CurrentThreadId(), 300, "HResultCodeException");
    board_.End(outer, "id");
    Event("deliver c", {"Message is added to queue, queue now contains 1 messages"});
    board_.DropQueue("Outlook has quit");
    EXPECT_THAT(Words(), ElementsAre("not checked, ! HResultCodeException",
                                     "skipped: within a send", "skipped: Outlook has quit"));
    EXPECT_EQ(board_.rows()[1].depth, 1);
    EXPECT_EQ(board_.rows()[0].entry_id, "id");
    EXPECT_TRUE(board_.IsIdle());
}

}  // namespace
}  // namespace sandbox::demo
