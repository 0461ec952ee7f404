#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <thread>

#include "tests/support/fake_clock.h"
#include "tests/support/temporary_folder.h"
#include "vek/platform/thread.h"
#include "vek/trace/channel_tracer.h"
#include "vek/trace/file_channel.h"
#include "vek/trace/file_tracer.h"
#include "vek/trace/line.h"

namespace {

using namespace vek::trace;
namespace fs = std::filesystem;

const std::uint32_t kProcess = vek::platform::CurrentProcessId();

class FileChannelTest : public ::testing::Test {
protected:
    std::unique_ptr<FileChannel> NewChannel(std::uint64_t max_size = 1) {
        return std::make_unique<FileChannel>(
            FileChannel::Options{tests::Utf8(path_), "1.2.3.4", max_size}, clock_);
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
    std::ostringstream process;
    process << kProcess << "(0x" << std::hex << kProcess << ")\r\n";
    const std::tuple<std::int32_t, std::string, std::string> cases[] = {
        {0, "2024-03-05 21:07:09", "+0:0"},
        {330, "2024-03-06 02:37:09", "+5:30"},
        {-30, "2024-03-05 20:37:09", "-0:30"}};
    std::string expected;
    for (const auto& [offset, local, zone] : cases) {
        clock_.offset_minutes = offset;
        const auto channel = NewChannel();
        channel->Append("line\r\n");
        expected += "OXW TRACE FILE\t Tracer version: 1.2.3.4  UTC time: 2024-03-05 21:07:09";
        expected.append("  Local time: ").append(local).append(" (UTC").append(zone);
        expected.append(")  PID: ").append(process.str());
        EXPECT_EQ(Text(), expected += "line\r\n");  // nothing waits for the file to be closed
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
    const std::regex edges("(OXW|End of)[^\n]*\n");
    EXPECT_TRUE(all.ends_with(std::regex_replace(OldText() + Text(), edges, "")));

    channel->Append(std::string(kBound / 2 - 33, 'x') + "\xE2\x82\xAC" + std::string(40, 'y'));
    channel->Append("next\r\n");
    EXPECT_TRUE(Text().ends_with("xx... 2058 bytes\r\nnext\r\n"));  // cut between two characters
    channel.reset();
    EXPECT_LE(Text().size(), kBound);
}

TEST_F(FileChannelTest, WritesWhatNoTerminalObeys) {
    const auto channel = NewChannel(1 << 20);
    const std::pair<std::string, std::string> cases[] = {
        {"\t\\ \u00e9\u20ac", "\t\\ \u00e9\u20ac"},
        {"\r\n\x1b[2J\x7f", "\\u000d\\u000a\\u001b[2J\\u007f"},
        {"\u009b \u202e\u2028", "\\u009b \\u202e\\u2028"},
        {"\x9b\xc3", "\\x9b\\xc3"},
        {std::string(65'534, 'x'), std::string(65'534, 'x')},
        {std::string(65'535, 'x'), std::string(65'504, 'x') + "... 65535 bytes"}};
    for (const auto& [text, written] : cases) {
        channel->Append(text + "\r\n");
        EXPECT_TRUE(Text().ends_with("\n" + written + "\r\n")) << written.substr(0, 100);
    }
}

TEST_F(FileChannelTest, TriesWhatNeedsNeitherMemoryNorWaiting) {
    struct LockedClock final : tests::FakeClock {  // asked with the channel's lock held
        vek::platform::filetime_t UtcNow() noexcept override {
            if (channel != nullptr)
                std::thread([this] { channel->TryAppend("while another writes\r\n"); }).join();
            return utc;
        }
        FileChannel* channel = nullptr;
    } clock;
    auto owned =
        std::make_unique<FileChannel>(FileChannel::Options{tests::Utf8(path_), "1", 1}, clock);
    FileChannel& channel = *owned;
    ChannelTracer tracer(std::move(owned), level::kError, clock);
    tracer.TryWrite(level::kWarning, "not enabled");
    for (const char* const lost : {"\x1b[2J", "\x9b", "\r"}) tracer.TryWrite(level::kFact, lost);
    tracer.TryWrite(level::kFact, "t\u00e4ken");
    EXPECT_TRUE(
        std::regex_search(Text(), std::regex("^[^\n]*\n21:07:09.045\t\\d+\t100\tt..ken\r\n$")))
        << Text();

    clock.channel = &channel;
    channel.Append(std::string(kBound / 2 - 2, 'x') + "\r\n");
    channel.Append(std::string(kBound / 2 - 2, 'x') + "\r\n");  // begins a new file
    clock.channel = nullptr;
    EXPECT_EQ((OldText() + Text()).find("while"), std::string::npos);
    channel.TryAppend(std::string(kBound / 2, 'y') + "\r\n");  // would begin another
    EXPECT_EQ(Text().find('y'), std::string::npos);
}

TEST_F(FileChannelTest, WritesToPlainFilesWithOneNameAlone) {
    const fs::path other = folder_.path() / "other";
    for (const bool hard : {true, false}) {
        std::ofstream(other) << "text";
        std::error_code refused;
        hard ? fs::create_hard_link(other, path_) : fs::create_symlink(other, path_, refused);
        NewChannel()->Append("line\r\n");
        EXPECT_EQ(tests::ReadFile(other), "text");
        fs::remove(path_);
    }
    EXPECT_FALSE(vek::platform::AppendFile::Open("/dev/null"));
}

TEST_F(FileChannelTest, AFileThatCannotBeOpenedOrRenamedIsTriedOnceAMinute) {
    clock_.ticks = 0xFFFFFFF0;  // wraps meanwhile
    fs::remove(folder_.path());
    const auto channel = NewChannel();
    fs::create_directories(old_ / "not empty");
    for (int i = 0; i < 60'000; ++i, ++clock_.ticks) channel->Append("lost\r\n");
    EXPECT_FALSE(fs::exists(path_));
    for (int minute = 0; minute < 3; ++minute, clock_.ticks += 60'000) {
        for (int i = 0; i < 300; ++i) channel->Append("a line that is soon lost\r\n");
        EXPECT_LE(Text().size(), kBound);
        EXPECT_TRUE(Text().starts_with("OXW") && Text().ends_with("21:07:09\r\n"));
    }
    fs::remove_all(old_);
    channel->Append("kept\r\n");
    EXPECT_TRUE(Text().ends_with("\r\nkept\r\n"));
    EXPECT_NE(OldText().find("soon lost"), std::string::npos);
}

TEST(FileTracer, GivesWholeLinesInAFileOfTheProcess) {
    const tests::TemporaryFolder folder;
    FileTracerConfig config{.folder = "", .name = "mlxo", .version = "1"};
    const std::string name = "mlxo.vek_tests." + std::to_string(kProcess) + ".log";
    EXPECT_EQ(TraceLocation(config), tests::Utf8(fs::temp_directory_path() / name));

    const fs::path path = folder.path() / u8"\u00FC" / "deep" / name;
    config.folder = tests::Utf8(path.parent_path());
    config.level = level::kError;
    config.max_size = 70'000;  // one rotation happens meanwhile
    constexpr int kWriters = 4, kLines = 500;
    {
        const TracerPtr tracer = OpenFileTracer(config);
        std::vector<std::thread> threads;
        for (int writer = 0; writer < kWriters; ++writer) {
            threads.emplace_back([&, writer] {
                for (int i = 0; i < kLines; ++i)
                    Write(tracer, level::kError, writer, " ", i, " abcdefghijklmnopqrstuvwxyz");
            });
        }
        for (std::thread& thread : threads) thread.join();
    }
    const std::string text = tests::ReadFile(fs::path(path) += ".old") + tests::ReadFile(path);
    const std::regex line("[0-9:.]{12}\t\\d+\t300\t(\\d) (\\d+) abcdefghijklmnopqrstuvwxyz\r\n");
    int next[kWriters] = {};
    for (std::sregex_iterator found(text.begin(), text.end(), line), end; found != end; ++found)
        EXPECT_EQ((*found)[2], std::to_string(next[std::stoi((*found)[1])]++));
    for (const int count : next) EXPECT_EQ(count, kLines);
}

}  // namespace
