#include <gtest/gtest.h>
#include <windows.h>
// After windows.h, which it needs.
#include <aclapi.h>

#include "remote/process_event.h"
#include "tests/remote/transport_ends.h"

namespace remote {
namespace {

TEST(ProcessEvent, IsOneForAllAndForThoseOfLowIntegrity) {
    const auto id = vek::platform::CurrentProcessId();
    std::unique_ptr<vek::platform::Event> one, other;
    for (auto* event : {&one, &other}) ASSERT_EQ(OpenProcessEvent(id, {}, nullptr, *event), 0u);
    const auto handle = reinterpret_cast<HANDLE>(other->handle());
    EXPECT_EQ(::WaitForSingleObject(handle, 0), WAIT_TIMEOUT);
    one->Set();
    for (int i = 0; i < 2; ++i) EXPECT_EQ(::WaitForSingleObject(handle, 0), WAIT_OBJECT_0);

    PSECURITY_DESCRIPTOR descriptor = nullptr;
    PACL labels = nullptr;
    void* label = nullptr;
    ::GetSecurityInfo(handle, SE_KERNEL_OBJECT, LABEL_SECURITY_INFORMATION, nullptr, nullptr,
                      nullptr, &labels, &descriptor);
    ASSERT_TRUE(labels != nullptr && ::GetAce(labels, 0, &label) != FALSE);
    auto& sid = static_cast<SYSTEM_MANDATORY_LABEL_ACE*>(label)->SidStart;
    EXPECT_NE(::IsWellKnownSid(&sid, WinLowLabelSid), FALSE);
    ::LocalFree(descriptor);
}

TEST(ProcessEvent, IsWaitedForByThoseWhoConnectTooEarly) {
    for (const bool comes : {true, false}) {
        const auto handler = std::make_shared<tests::TextHandler>(tests::Echo);
        const Endpoint endpoint = tests::NewEndpoint();
        std::shared_ptr<Transport> server, client;
        std::unique_ptr<Listener> listener;
        TransportConfig config;
        config.peer_process = vek::platform::CurrentProcessId();
        config.gives_up = [&] {  // asked while it waits
            if (comes) Listen(endpoint, tests::Keep(server, handler), {}, listener);
            return !comes;
        };
        EXPECT_EQ(ConnectTransport(endpoint, handler, config, client),
                  comes ? vek::result::kOk : vek::result::kNotReady);
    }
}

}  // namespace
}  // namespace remote
