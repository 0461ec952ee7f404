#include <gtest/gtest.h>

#include "sandbox/child_process/child_process.h"
#include "tests/remote/transport_ends.h"

namespace {

namespace result = vek::result;

// The other end is made of stubs that were compiled from the interface's definition.
TEST(RpcLengths, OfAClientAreNotBelieved) {
    const tests::Ends ends;
    const auto peer = sandbox::StartBeside(
        "hostile_peer", "connect:" + std::to_string(ends.listener->endpoint().local_id));
    EXPECT_EQ(peer->Wait(), 0);
}

TEST(RpcLengths, OfAServerAreNotBelieved) {
    const remote::Endpoint endpoint = tests::NewEndpoint();
    const auto peer =
        sandbox::StartBeside("hostile_peer", "listen:" + std::to_string(endpoint.local_id));
    const auto handler = std::make_shared<tests::TextHandler>(tests::Echo);
    for (int lie = 0; lie < 6; ++lie) {
        SCOPED_TRACE(lie);
        std::shared_ptr<remote::Transport> transport;
        ASSERT_TRUE(tests::WaitUntil([&] {
            return vek::Succeeded(remote::ConnectTransport(endpoint, handler, {}, transport));
        }));
        std::string answer;
        EXPECT_EQ(tests::Call(*transport, "lie", &answer),
                  lie == 0 ? result::kOk : result::kRemoteCallFailed);
        EXPECT_EQ(answer, lie == 0 ? "abcd" : "");
        EXPECT_EQ(transport->IsOpen(), lie == 0);
    }
    peer->Kill();
}

}  // namespace
