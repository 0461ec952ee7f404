#include "vek/trace/channel_tracer.h"

#include <gtest/gtest.h>

#include "tests/support/fake_clock.h"
#include "vek/platform/thread.h"
#include "vek/trace/memory_channel.h"

namespace {

using namespace vek::trace;

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

    std::string thread = "\t";
    thread.append(std::to_string(vek::platform::CurrentThreadId())).append("\t");
    EXPECT_EQ(channel.Text(), Output("02:37:09.045" + thread + "500\tone  two\r\n" +  //
                                     "05:30:00.000" + thread + "700\t\r\n"));
}

TEST(MemoryChannel, KeepsTheLastLines) {
    MemoryChannel channel(12);
    EXPECT_EQ(channel.Text(), Output(""));
    for (const char* line : {"1\r\n", "2\r\n", "333\r\n", "4\r\n"}) channel.Append(line);
    EXPECT_EQ(channel.Text(), Output("2\r\n333\r\n4\r\n"));
}

}  // namespace
