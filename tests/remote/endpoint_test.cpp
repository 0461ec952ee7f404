#include "remote/endpoint.h"

#include <gtest/gtest.h>

#include "remote/process_event.h"
#include "tests/support/recording_tracer.h"
#include "vek/platform/thread.h"

namespace remote {
namespace {

namespace platform = vek::platform;
namespace result = vek::result;
using Missing = platform::ProcessStart::Missing;

TEST(Endpoint, HasTheNameOfItsProtocol) {
    EXPECT_EQ(EndpointName({42, 7}), "VLRemote:42");
    EXPECT_EQ(EndpointName({0, 65535}), "65535");
    EXPECT_EQ(ProtocolSequence({42, 7}), "ncalrpc");
    EXPECT_EQ(ProtocolSequence({0, 7}), "ncacn_ip_tcp");
}

TEST(Endpoint, NamesTheEventOfAProcess) {
    const platform::ProcessStart start{Missing::kNothing, 0, 133444736001234567};
    const auto tracer = std::make_shared<tests::RecordingTracer>();
    std::string name;
    EXPECT_EQ(ProcessEventName(50663, start, EventNamespace::kSession, tracer, name), result::kOk);
    EXPECT_EQ(name, "055E12540771FB76AE80E5683FC76");
    EXPECT_EQ(ProcessEventName(50663, start, EventNamespace::kGlobal, tracer, name), result::kOk);
    EXPECT_EQ(name, "Global\\055E12540771FB76AE80E5683FC76");

    const struct {
        Missing missing;
        platform::system_error_t error;
        vek::result_t code;
        const char* trace;
    } cases[] = {
        {Missing::kSystemVersion, 87, result::kUnexpected, "600 rmt\tcannot get OS version"},
        {Missing::kProcess, 5, result::kAccessDenied, "600 rmt\tcannot open target process"},
        {Missing::kTime, 6, result::kUnexpected,
         "600 rmt\tcannot get target process 77 start time: 6"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ProcessEventName(77, {c.missing, c.error, 0}, {}, tracer, name), c.code);
        EXPECT_EQ(tracer->lines().back(), c.trace);
    }
}

TEST(Endpoint, KnowsWhenAProcessStarted) {
    const platform::ProcessStart own = platform::StartOfProcess(platform::CurrentProcessId());
    ASSERT_EQ(own.missing, Missing::kNothing);
    constexpr platform::filetime_t kSecond = 10'000'000;  // what a clock's rounding may take
    EXPECT_LT(platform::TheClock().UtcNow() + kSecond - own.time, 3600 * kSecond);
    EXPECT_EQ(platform::StartOfProcess(0x7FFFFFF0).missing, Missing::kProcess);
}

}  // namespace
}  // namespace remote
