#include <gtest/gtest.h>

#include "tests/remote/told_identity_win32.h"
#include "tests/remote/transport_ends.h"

namespace {

namespace result = vek::result;
using tests::ToldIdentity;

constexpr char kService[] = "S-1-5-18";

TEST(RpcIdentity, IsRequiredOfBothEndsAndOfEachCall) {
    const struct {
        void (*tell)(ToldIdentity&);
        std::string account;
        vek::result_t connected;
    } kCases[] = {
        {[](auto&) {}, "", result::kOk},
        {[](auto& told) { told.caller.reset(); }, "", result::kAccessDenied},
        {[](auto& told) { told.caller->account = kService; }, "", result::kAccessDenied},
        {[](auto& told) { told.caller->account.clear(); }, "", result::kAccessDenied},
        {[](auto& told) { told.caller->session_id = 2; }, "", result::kAccessDenied},
        {[](auto& told) { told.caller->process_id += 4; }, "", result::kAccessDenied},
        {[](auto& told) { told.server = RPC_S_UNKNOWN_AUTHN_SERVICE; }, "", result::kAccessDenied},
        {[](auto&) {}, kService, result::kAccessDenied},
        // A service is in another session.
        {[](auto& told) {
             told.caller = {::GetCurrentProcessId(), 0, kService};
         },
         kService, result::kOk},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(&c - kCases);
        ToldIdentity told;
        c.tell(told);
        const auto handler = std::make_shared<tests::TextHandler>(tests::Echo);
        remote::TransportConfig config;
        config.peer_account = c.account;
        std::shared_ptr<remote::Transport> server, client;
        std::unique_ptr<remote::Listener> listener;
        ASSERT_EQ(
            remote::Listen(tests::NewEndpoint(), tests::Keep(server, handler), config, listener),
            result::kOk);
        EXPECT_EQ(remote::ConnectTransport(listener->endpoint(), handler, config, client),
                  c.connected);
        if (vek::Failed(c.connected)) continue;
        EXPECT_EQ(told.required, told.caller->account);
        EXPECT_EQ(tests::Ask(*client, "hello"), "hello");
        // The token is known now, and of no use to another process.
        told.caller->process_id += 4;
        EXPECT_EQ(tests::Ask(*client, "hello"), "failed");
        EXPECT_FALSE(client->IsOpen());
    }
}

// No caller of a port is told, and no server there can be required.
TEST(RpcIdentity, OfAPortIsNotTold) {
    const auto handler = std::make_shared<tests::TextHandler>(tests::Echo);
    std::shared_ptr<remote::Transport> server, client;
    std::unique_ptr<remote::Listener> listener;
    ASSERT_EQ(remote::Listen({}, tests::Keep(server, handler), {}, listener), result::kOk);
    EXPECT_EQ(remote::ConnectTransport(listener->endpoint(), handler, {}, client),
              result::kAccessDenied);
}

}  // namespace
