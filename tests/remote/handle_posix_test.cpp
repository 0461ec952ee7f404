#include <fcntl.h>
#include <gtest/gtest.h>

#include "remote/socket/handle_transfer_posix.h"

namespace remote {
namespace {

bool IsOpen(handle_t handle) { return ::fcntl(static_cast<int>(handle), F_GETFD) >= 0; }

TEST(HandleTransfer, GivesEachReceivedDescriptorOnce) {
    std::vector<vek::platform::Descriptor> received;
    for (int i = 0; i < 2; ++i) received.emplace_back(::open("/dev/null", O_RDWR));
    const handle_t first = received[0].get();
    const handle_t second = received[1].get();
    handle_t here = -1, copy = -1;
    {
        PosixHandleTransfer transfer(std::move(received));
        EXPECT_EQ(transfer.FromPeer(1, first, here), vek::platform::system_error::kNone);
        EXPECT_EQ(here, second);
        for (const std::size_t index : {1u, 2u}) EXPECT_NE(transfer.FromPeer(index, 1, copy), 0u);
        EXPECT_EQ(transfer.Duplicate(second, copy), vek::platform::system_error::kNone);
        transfer.Close(second);
    }
    EXPECT_FALSE(IsOpen(first) || IsOpen(second));
    EXPECT_TRUE(IsOpen(copy));
    ::close(static_cast<int>(copy));
}

}  // namespace
}  // namespace remote
