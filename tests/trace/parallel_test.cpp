#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <sstream>
#include <thread>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "vek/trace/channel_tracer.h"
#include "vek/trace/file_channel.h"
#include "vek/trace/line.h"
#include "vek/trace/memory_channel.h"

namespace {

using namespace vek::trace;

constexpr int kWriters = 4;
constexpr int kLines = 500;

// Runs kWriters threads with a number each.
template <class Body>
void InParallel(Body body) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kWriters; ++i) threads.emplace_back(body, i);
    for (std::thread& thread : threads) thread.join();
}

TEST(ParallelWriters, GiveWholeLinesEachInItsOrder) {
    const tests::TemporaryFolder folder;
    const auto path = folder.path() / "t.log";
    {
        // One rotation happens meanwhile.
        const auto tracer = std::make_shared<ChannelTracer>(
            std::make_unique<FileChannel>(FileChannel::Options{tests::Utf8(path), "1", 70'000}),
            level::kError);
        InParallel([&](int writer) {
            for (int i = 0; i < kLines; ++i) {
                Write(tracer, level::kError, writer, " ", i, " abcdefghijklmnopqrstuvwxyz");
                tracer->SetLevel(level::kError + static_cast<level_t>(i));
            }
        });
    }
    auto old = path;
    old += ".old";
    ASSERT_TRUE(std::filesystem::exists(old));
    std::istringstream text(tests::ReadFile(old) + tests::ReadFile(path));
    const std::regex pattern("[0-9:.]{12}\t(\\d+)\t300\t(\\d) (\\d+) abcdefghijklmnopqrstuvwxyz\r");
    std::smatch fields;
    std::map<std::string, int> next;
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with("OXW") || line.starts_with("End")) continue;
        ASSERT_TRUE(std::regex_match(line, fields, pattern)) << line;
        EXPECT_EQ(fields[3], std::to_string(next[fields[2]]++)) << line;
    }
    ASSERT_EQ(next.size(), std::size_t{kWriters});
    for (const auto& [writer, count] : next) EXPECT_EQ(count, kLines);
}

TEST(ProcessTracer, IsReplacedWhileItIsUsed) {
    EXPECT_EQ(ProcessTracer(), nullptr);
    InParallel([](int) {
        for (int i = 0; i < kLines; ++i) {
            Write(ProcessTracer(), level::kError, "x");
            SetProcessTracer(std::make_shared<ChannelTracer>(std::make_unique<MemoryChannel>(1000),
                                                             level::kError));
        }
    });
    const std::weak_ptr<Tracer> last = ProcessTracer();
    SetProcessTracer(nullptr);
    EXPECT_TRUE(last.expired());
}

}  // namespace
