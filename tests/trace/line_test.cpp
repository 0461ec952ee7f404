#include "vek/trace/line.h"

#include <gmock/gmock.h>

#include <limits>
#include <stdexcept>

#include "tests/support/allocation_probe.h"
#include "tests/support/fake_clock.h"
#include "tests/support/recording_tracer.h"
#include "vek/platform/thread.h"
#include "vek/trace/channel_tracer.h"
#include "vek/trace/memory_channel.h"
#include "vek/trace/scope.h"

namespace {

using namespace vek::trace;

// Counts how often it is formatted.
struct Counted {
    int& count;
};
void AppendPiece(std::string& line, Counted piece) {
    ++piece.count;
    line += "a text that is longer than what a string keeps without an allocation";
}

TEST(Line, IsMadeOfItsPieces) {
    const auto recorder = std::make_shared<tests::RecordingTracer>();
    const std::string entry_id = "00FFab";
    Write(recorder, level::kDetail, "id: ", entry_id, u" \u00FC\U0001F600 ", std::u16string(u"w"));
    Write(recorder, level::kDetail, Hex(std::int32_t{-1}), Hex(0x8004010Fu), Hex(0), "/",
          Hex(std::uint64_t{0x0123456789ABCDEF}), "/", Address(std::uint64_t{0xAB0}));
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
                                     "700 0xffffffff0x8004010f0x00000000/0x0123456789abcdef/ab0",
                                     "700 200/-7/-9223372036854775808/18446744073709551615",
                                     "700 => ProcessMessage", "700 <= ProcessMessage",
                                     "300 Failed: no session"));
}

TEST(Line, IsNotFormattedWhenItIsNotTaken) {
    int formatted = 0;
    const TracerPtr tracers[] = {std::make_shared<tests::RecordingTracer>(level::kWarning),
                                 nullptr};
    {
        const tests::AllocationProbe probe;
        for (const TracerPtr& each : tracers) {
            Write(each, level::kWarning + 1, Counted{formatted}, Hex(1u), u"wide");
        }
        EXPECT_EQ(probe.count(), 0u);
    }
    Write(tracers[0], level::kWarning, Counted{formatted});
    EXPECT_EQ(formatted, 1);
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
    EXPECT_EQ(channel.Text(), Output("02:37:09.045\t" + thread + "\t500\tone  two\r\n" +
                                     "05:30:00.000\t" + thread + "\t700\t\r\n"));
}

TEST(MemoryChannel, KeepsTheLastLines) {
    MemoryChannel channel(12);
    for (const char* line : {"1\r\n", "2\r\n", "333\r\n", "4\r\n", "longer than all\r\n"})
        channel.Append(line);
    EXPECT_EQ(channel.Text(), Output("2\r\n333\r\n4\r\n"));
}

}  // namespace
