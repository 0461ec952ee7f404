#include <gtest/gtest.h>

#include "remote/rpc/identity_win32.h"
#include "remote/rpc/server_win32.h"
#include "sandbox/child_process/child_process.h"
#include "tests/remote/transport_ends.h"
#include "vek/core/object.h"
#include "vek/platform/handle_win32.h"

namespace {

namespace result = vek::result;

constexpr auto kMedium = remote::kMediumIntegrity;

// In the place of the system while it exists, it says that all are this process, unless told
// otherwise.
struct ToldIdentity final : remote::IdentitySource {
    ToldIdentity() : caller(Self()) { remote::SetIdentitySource(this); }
    ~ToldIdentity() override { remote::SetIdentitySource(nullptr); }

    std::uint32_t CallingProcess(RPC_BINDING_HANDLE) noexcept override {
        return caller ? caller->process_id : 0;
    }
    std::optional<remote::PeerIdentity> Caller(RPC_BINDING_HANDLE) override { return caller; }
    RPC_STATUS RequireServer(RPC_BINDING_HANDLE, const remote::Endpoint&,
                             const std::string& account) override {
        required = account;
        return server;
    }
    std::optional<remote::PeerIdentity> Self() override {
        return remote::PeerIdentity{::GetCurrentProcessId(), 1, "S-1-5-21-1", kMedium, true};
    }

    std::optional<remote::PeerIdentity> caller;
    RPC_STATUS server = RPC_S_OK;
    std::string required;
};

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
        {[](auto& told) { --told.caller->integrity; }, "", result::kAccessDenied},
        {[](auto& told) { told.server = RPC_S_UNKNOWN_AUTHN_SERVICE; }, "", result::kAccessDenied},
        {[](auto&) {}, kService, result::kAccessDenied},
        // A service is in another session.
        {[](auto& told) {
             told.caller = {::GetCurrentProcessId(), 0, kService, 0x4000, false};
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

TEST(RpcIdentity, OfWhomAServiceTakesIn) {
    ToldIdentity told;
    // What the system says of this process has all parts.
    remote::SetIdentitySource(nullptr);
    const auto own = remote::TheIdentitySource().Self();
    EXPECT_TRUE(own && own->is_interactive && own->integrity >= kMedium &&
                own->account.starts_with("S-"));
    remote::SetIdentitySource(&told);
    remote::TransportConfig config;
    config.peer_account = remote::kInteractiveUsers;
    const std::pair<remote::PeerIdentity, bool> kCases[] = {
        {{8, 1, "S-1-5-21-1", kMedium, true}, true},
        {{8, 2, "S-1-5-21-2", kMedium + 0x100, true}, true},  // another user's, elsewhere
        {{8, 1, "S-1-5-21-1", kMedium - 1, true}, false},
        {{8, 1, "S-1-5-21-1", kMedium, false}, false},
        {{8, 1, "", kMedium, true}, false},
        {{0, 1, "S-1-5-21-1", kMedium, true}, false},
        {{}, false},
    };
    for (const auto& [peer, allowed] : kCases)
        EXPECT_EQ(remote::IsPeerAllowed(peer, config), allowed) << &peer - &kCases[0].first;
}

// No caller of a port is told, and no server there can be required: only a test can.
TEST(RpcIdentity, OfAPortIsNotTold) {
    const auto handler = std::make_shared<tests::TextHandler>(tests::Echo);
    std::shared_ptr<remote::Transport> server, client;
    std::unique_ptr<remote::Listener> listener;
    ASSERT_EQ(remote::Listen({}, tests::Keep(server, handler), {}, listener), result::kOk);
    EXPECT_EQ(remote::ConnectTransport(listener->endpoint(), handler, {}, client),
              result::kAccessDenied);
    listener.reset();
    const ToldIdentity told;
    const tests::Ends ends(tests::Echo, tests::Echo, {});
    EXPECT_EQ(tests::Ask(*ends.client, "there"), "there");
    EXPECT_EQ(tests::Ask(*ends.server, "back"), "back");
}

// As Wine carries the local protocol; elsewhere there is nobody, which is noticed at once.
TEST(RpcConnect, WaitsForNoPeerThatReadsNothing) {
    const remote::Endpoint endpoint = tests::NewEndpoint();
    const std::string name = R"(\\.\pipe\lrpc\)" + remote::EndpointName(endpoint);
    const vek::platform::UniqueHandle pipe(::CreateNamedPipeA(
        name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE, 1, 4096, 4096, 0, nullptr));
    ASSERT_NE(pipe.get(), INVALID_HANDLE_VALUE);
    const auto handler = std::make_shared<tests::TextHandler>(tests::Echo);
    remote::TransportConfig config;
    config.connect_timeout = std::chrono::milliseconds(300);
    std::shared_ptr<remote::Transport> transport;
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(remote::ConnectTransport(endpoint, handler, config, transport), result::kNotReady);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(2));
    ::DisconnectNamedPipe(pipe.get());  // lets the runtime's wait end
    EXPECT_TRUE(tests::WaitUntil([] { return vek::LiveObjectCount() == 0; }));
    const auto lets_go = [] {
        return remote::RpcServer::Get().AwaitUnregistered(std::chrono::milliseconds(100));
    };
    EXPECT_TRUE(tests::WaitUntil(lets_go)) << "nothing keeps the connection";
}

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
