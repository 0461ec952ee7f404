#include "remote/endpoint.h"

#include <gtest/gtest.h>

#include "remote/process_event.h"
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
    std::string name;
    EXPECT_EQ(ProcessEventName(50663, start, EventNamespace::kSession, nullptr, name), result::kOk);
    EXPECT_EQ(name, "055E12540771FB76AE80E5683FC76");
    EXPECT_EQ(ProcessEventName(50663, start, EventNamespace::kGlobal, nullptr, name), result::kOk);
    EXPECT_EQ(name, "Global\\055E12540771FB76AE80E5683FC76");

    EXPECT_EQ(ProcessEventName(7, {Missing::kProcess, 5, 0}, {}, nullptr, name),
              result::kAccessDenied);
    EXPECT_EQ(ProcessEventName(7, {Missing::kTime, 6, 0}, {}, nullptr, name), result::kUnexpected);

    const auto own = platform::StartOfProcess(platform::CurrentProcessId()).time;
    constexpr platform::filetime_t kSecond = 10'000'000;  // what a clock's rounding may take
    EXPECT_LT(platform::TheClock().UtcNow() + kSecond - own, 3600 * kSecond);
    EXPECT_EQ(platform::StartOfProcess(0x7FFFFFF0).missing, Missing::kProcess);
}

}  // namespace
}  // namespace remote
