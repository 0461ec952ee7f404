#include <gtest/gtest.h>
#include <windows.h>
// After windows.h, which it needs.
#include <aclapi.h>

#include "remote/process_event.h"
#include "remote/rpc/handle_transfer_win32.h"
#include "vek/platform/thread.h"

namespace remote {
namespace {

using vek::platform::system_error::kNone;

DWORD Wait(handle_t event) { return ::WaitForSingleObject(reinterpret_cast<HANDLE>(event), 0); }

TEST(Handle, OfTheProcessEventGoesBothWays) {
    const auto id = vek::platform::CurrentProcessId();
    std::unique_ptr<vek::platform::Event> one, other;
    for (auto* event : {&one, &other}) ASSERT_EQ(OpenProcessEvent(id, {}, nullptr, *event), 0u);

    // This process is its own peer.
    Win32HandleTransfer transfer(::GetCurrentProcess());
    handle_t pushed = 0, fetched = 0, copy = 0;
    ASSERT_EQ(transfer.ToPeer(other->handle(), pushed), kNone);
    ASSERT_EQ(transfer.FromPeer(0, pushed, fetched), kNone);
    ASSERT_EQ(transfer.Duplicate(fetched, copy), kNone);
    transfer.Close(pushed);
    transfer.Close(fetched);
    EXPECT_NE(transfer.FromPeer(0, fetched, fetched), kNone);

    EXPECT_EQ(Wait(copy), WAIT_TIMEOUT);
    one->Set();
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Wait(copy), WAIT_OBJECT_0);

    // Labelled for those of low integrity.
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    PACL labels = nullptr;
    void* label = nullptr;
    ::GetSecurityInfo(reinterpret_cast<HANDLE>(copy), SE_KERNEL_OBJECT, LABEL_SECURITY_INFORMATION,
                      nullptr, nullptr, nullptr, &labels, &descriptor);
    ASSERT_TRUE(labels != nullptr && ::GetAce(labels, 0, &label) != FALSE);
    auto& sid = static_cast<SYSTEM_MANDATORY_LABEL_ACE*>(label)->SidStart;
    EXPECT_NE(::IsWellKnownSid(&sid, WinLowLabelSid), FALSE);
    ::LocalFree(descriptor);
    transfer.Close(copy);
}

}  // namespace
}  // namespace remote
