#include "vek/trace/line.h"

#include <gmock/gmock.h>

#include <limits>
#include <stdexcept>

#include "tests/support/fake_clock.h"
#include "tests/support/recording_tracer.h"
#include "vek/platform/thread.h"
#include "vek/trace/channel_tracer.h"
#include "vek/trace/memory_channel.h"
#include "vek/trace/repeat_limiter.h"
#include "vek/trace/scope.h"

namespace {

using namespace vek::trace;

TEST(Line, IsMadeOfItsPieces) {
    const auto recorder = std::make_shared<tests::RecordingTracer>();
    Write(nullptr, level::kDetail, "not taken");
    Write(recorder, level::kDetail, "id: ", std::string("00FFab"), u" \u00FC\U0001F600 ",
          std::u16string(u"w"));
    Write(recorder, level::kDetail, Hex(std::int32_t{-1}), Hex(0x8004010Fu), Hex(0), "/",
          Hex(std::uint64_t{0x0123456789ABCDEF}), "/", Address(std::uint64_t{0xAB0}), " ",
          Result(0x80000046));
    Write(recorder, level::kDetail, std::uint8_t{200}, "/", std::int16_t{-7}, "/",
          std::numeric_limits<std::int64_t>::min(), "/", std::numeric_limits<std::uint64_t>::max());
    try {
        const Scope scope(recorder, "ProcessMessage");
        throw std::runtime_error("no session");
    } catch (...) {
        WriteCurrentException(recorder, "Failed: ");
    }
    EXPECT_THAT(recorder->lines(),
                testing::ElementsAre("700 id: 00FFab \u00FC\U0001F600 w",
                                     "700 0xffffffff0x8004010f0x00000000/0x0123456789abcdef/ab0 "
                                     "result=0x80000046 (Invalid argument)",
                                     "700 200/-7/-9223372036854775808/18446744073709551615",
                                     "700 => ProcessMessage", "700 <= ProcessMessage",
                                     "300 Failed: no session"));
}

std::string Output(const std::string& lines) {
    std::string text = "This is memory trace (vek::trace::MemoryChannel)\r\n";
    return text.append(lines).append("End of trace\r\n");
}

TEST(ChannelTracer, WritesTimeThreadAndLevelBeforeTheTextsItTakes) {
    tests::FakeClock clock;
    clock.offset_minutes = 330;
    auto owned = std::make_unique<MemoryChannel>(10'000);
    const MemoryChannel& channel = *owned;
    ChannelTracer tracer(std::move(owned), level::kWarning, clock);

    tracer.Write(level::kDetail, "not taken");
    tracer.Write(level::kWarning, "one\r\ntwo");
    tracer.SetLevel(level::kDetail);
    clock.utc = ~vek::platform::filetime_t{0};  // no such time: the line is lost
    tracer.Write(level::kDetail, "lost");
    clock.utc = 0;
    tracer.Write(level::kDetail, "");

    const std::string thread = std::to_string(vek::platform::CurrentThreadId());
    EXPECT_EQ(channel.Text(), Output("02:37:09.045\t" + thread + "\t500\tone\r\ntwo\r\n" +
                                     "05:30:00.000\t" + thread + "\t700\t\r\n"));
}

TEST(RepeatLimiter, CountsRepeatsWhileThereAreManyLines) {
    const auto recorder = std::make_shared<tests::RecordingTracer>();
    tests::FakeClock clock;
    {
        RepeatLimiter limiter(recorder, clock);
        const struct {
            std::uint32_t passed;
            int times;
            const char* text;
            std::size_t lines, counts;  // written by then
        } kSteps[] = {{0, 99, "a", 99, 0},      {0, 5, "a", 100, 0},      {0, 2, "b", 101, 0},
                      {1000, 150, "a", 103, 2}, {0, 1, "c", 104, 2},      {1999, 99, "a", 105, 3},
                      {1000, 98, "c", 204, 4},  {0, 70, nullptr, 274, 4}, {0, 2, "c", 275, 4}};
        for (const auto& step : kSteps) {
            clock.ticks += step.passed;
            for (int i = 0; i < step.times; ++i)
                limiter.Write(level::kError, step.text ? step.text : std::to_string(i));
            EXPECT_EQ(recorder->lines().size(), step.lines) << &step - kSteps;
            EXPECT_EQ(recorder->Count(" times more: "), step.counts) << &step - kSteps;
        }
    }
    EXPECT_EQ(recorder->lines().back(), "300 1 times more: c");
    EXPECT_EQ(LimitRepeats(nullptr), nullptr);
}

TEST(MemoryChannel, KeepsTheLastLines) {
    MemoryChannel channel(12);
    for (const char* line : {"1\r\n", "2\r\n", "333\r\n", "4\r\n", "longer than all\r\n"})
        channel.Append(line);
    EXPECT_EQ(channel.Text(), Output("2\r\n333\r\n4\r\n"));
}

}  // namespace
