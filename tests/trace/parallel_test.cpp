#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "vek/trace/channel_tracer.h"
#include "vek/trace/file_channel.h"
#include "vek/trace/line.h"

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
    std::map<std::string, int> next;
    for (std::string line; std::getline(text, line);) {
        ASSERT_TRUE(line.ends_with('\r'));
        if (line.starts_with("OXW") || line.starts_with("End")) continue;
        std::istringstream fields(line);
        std::string time, thread, level, rest;
        int writer, number;
        fields >> time >> thread >> level >> writer >> number >> rest;
        EXPECT_EQ(rest, "abcdefghijklmnopqrstuvwxyz");
        EXPECT_EQ(number, next[thread]++);
    }
    ASSERT_EQ(next.size(), std::size_t{kWriters});
    for (const auto& [thread, count] : next) EXPECT_EQ(count, kLines);
}

// Counts what is alive of it.
class Counting final : public Tracer {
public:
    explicit Counting(std::atomic<int>& alive) : alive_(alive) { ++alive_; }
    ~Counting() override {
        // The end of a tracer may ask for its successor.
        EXPECT_NE(ProcessTracer().get(), this);
        --alive_;
    }
    bool IsEnabled(level_t) const noexcept override { return true; }
    void Write(level_t, std::string_view) noexcept override { EXPECT_GT(alive_, 0); }

private:
    std::atomic<int>& alive_;
};

TEST(ProcessTracer, IsReplacedWhileItIsUsed) {
    std::atomic<int> alive{0};
    EXPECT_EQ(ProcessTracer(), nullptr);
    InParallel([&](int writer) {
        for (int i = 0; i < kLines; ++i) {
            if (writer == 0) SetProcessTracer(std::make_shared<Counting>(alive));
            Write(ProcessTracer(), level::kError, "x");
        }
    });
    EXPECT_EQ(alive, 1);
    SetProcessTracer(nullptr);
    EXPECT_EQ(alive, 0);
}

}  // namespace
