#include "vek/trace/file_channel.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <regex>

#include "tests/support/fake_clock.h"
#include "tests/support/temporary_folder.h"
#include "vek/platform/thread.h"

namespace {

using namespace vek::trace;
namespace fs = std::filesystem;

class FileChannelTest : public ::testing::Test {
protected:
    std::unique_ptr<FileChannel> NewChannel() {
        return std::make_unique<FileChannel>(
            FileChannel::Options{tests::Utf8(path_), "1.2.3.4", kBound}, clock_);
    }
    std::string Text() const { return tests::ReadFile(path_); }
    std::string OldText() const { return tests::ReadFile(old_); }

    static constexpr std::uint64_t kBound = FileChannel::kLeastMaxSize;

    tests::FakeClock clock_;
    tests::TemporaryFolder folder_;
    const fs::path path_ = folder_.path() / u8"tr\u00E4ce.log";
    const fs::path old_ = folder_.path() / u8"tr\u00E4ce.log.old";
};

TEST_F(FileChannelTest, BeginsWithAHeaderAndEndsWithAFooter) {
    char process[32];
    std::snprintf(process, sizeof process, "%u(0x%x)", vek::platform::CurrentProcessId(),
                  vek::platform::CurrentProcessId());
    const struct {
        std::int32_t offset;
        std::string local, zone;
    } cases[] = {
        {0, "2024-03-05 21:07:09", "+0:0"},    {60, "2024-03-05 22:07:09", "+1:0"},
        {330, "2024-03-06 02:37:09", "+5:30"}, {-210, "2024-03-05 17:37:09", "-3:30"},
        {-30, "2024-03-05 20:37:09", "-0:30"},
    };
    std::string expected;
    for (const auto& [offset, local, zone] : cases) {
        clock_.offset_minutes = offset;
        const auto channel = NewChannel();
        expected += "OXW TRACE FILE\t Tracer version: 1.2.3.4  UTC time: 2024-03-05 21:07:09";
        expected += "  Local time: " + local + " (UTC" + zone + ")  PID: " + process + "\r\n";
        channel->Append("line\r\n");
        expected += "line\r\n";
        EXPECT_EQ(Text(), expected);  // nothing waits for the file to be closed
        expected += "End of trace file, local time: " + local + "\r\n";
    }
    EXPECT_EQ(Text(), expected);
}

TEST_F(FileChannelTest, AFullFileIsKeptBesideTheNewOne) {
    auto channel = NewChannel();
    std::string all;
    for (int i = 0; i < 300; ++i) {
        const std::string line = std::to_string(i).append(" of a line of middling length\r\n");
        channel->Append(line);
        all += line;
        EXPECT_LE(Text().size(), kBound);
    }
    EXPECT_LE(OldText().size(), kBound);
    EXPECT_GT(OldText().size(), kBound - 200);
    const std::regex whole("OXW[^\n]*\n([^]*)End of trace file[^\n]*:09\r\n"),
        begun("OXW[^\n]*\n([^]*)");
    std::smatch old, present;
    const std::string old_text = OldText(), text = Text();
    ASSERT_TRUE(std::regex_match(old_text, old, whole));
    ASSERT_TRUE(std::regex_match(text, present, begun));
    EXPECT_TRUE(all.ends_with(old.str(1) + present.str(1)));

    channel->Append(std::string(kBound / 2 - 3, 'x') + "\xE2\x82\xAC\r\n");
    EXPECT_TRUE(Text().ends_with("xx\r\n"));
    channel->Append("next\r\n");
    EXPECT_TRUE(Text().ends_with("xx\r\nnext\r\n"));
    channel.reset();
    EXPECT_LE(Text().size(), kBound);
}

TEST_F(FileChannelTest, AFileThatCannotBeOpenedIsTriedOnceAMinute) {
    clock_.ticks = 0xFFFFFFF0;  // wraps meanwhile
    fs::remove(folder_.path());
    const auto channel = NewChannel();
    fs::create_directory(folder_.path());
    for (int i = 0; i < 60'000; ++i, ++clock_.ticks) channel->Append("lost\r\n");
    EXPECT_FALSE(fs::exists(path_));
    channel->Append("kept\r\n");
    EXPECT_TRUE(Text().starts_with("OXW"));
    EXPECT_TRUE(Text().ends_with(")\r\nkept\r\n"));
}

TEST_F(FileChannelTest, AFileThatCannotBeRenamedDoesNotGrow) {
    fs::create_directories(old_ / "not empty");
    const auto channel = NewChannel();
    for (int minute = 0; minute < 3; ++minute, clock_.ticks += 60'000) {
        for (int i = 0; i < 300; ++i) channel->Append("a line that is soon lost\r\n");
        EXPECT_LE(Text().size(), kBound);
        EXPECT_TRUE(Text().ends_with("21:07:09\r\n"));
    }
    fs::remove_all(old_);
    channel->Append("kept\r\n");
    EXPECT_TRUE(Text().ends_with("\r\nkept\r\n"));
    EXPECT_LT(Text().size(), 300u);
    EXPECT_NE(OldText().find("soon lost"), std::string::npos);
}

}  // namespace
