#include <gtest/gtest.h>

#include "vek/core/result_text.h"

namespace {

TEST(Result, IsFormattedWithTheTextOfItsFacility) {
    const char* const cases[] = {
        "result=0x00000000 (No error)",
        "result=0x00000046 (Unknown result code)",
        "result=0x80000221 (Operation timeout)",
        "result=0x8001010a (Unknown platform result code)",
        "result=0x80010110 (Cannot open an anonymous level security token)",
        "result=0xa641000d (Unknown task manager result code)",
        "result=0xa6430005 (Unknown Service Manager's result code)",
        "result=0x26440001 (Service is not alive (but may be under construction or destruction))",
        "result=0xa6440028 (Remoting sybsystem is not initialized)",
        "result=0xa6440034 (Unknown Service Manager's result code)",
        "result=0xa6450001 (Unknown result code)",
        "result=0xa6460201 (Failed to create process to host a service or a task)",
        "result=0xa6460202 (Unknown loader result code)",
    };
    for (const std::string expected : cases) {
        const auto code =
            static_cast<vek::result_t>(std::stoul(expected.substr(9, 8), nullptr, 16));
        std::string line = "> ";
        vek::AppendResult(line, code);
        EXPECT_EQ(line, "> " + expected);
    }
    // The wide texts do without the product's facilities.
    EXPECT_EQ(vek::ResultText(0xA6440002), u"Unknown result code");
}

}  // namespace
