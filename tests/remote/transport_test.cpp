#include <gtest/gtest.h>

#include <future>
#include <thread>
#include <vector>

#include "remote/establish.h"
#include "sandbox/child_process/child_process.h"
#include "tests/remote/transport_ends.h"
#include "vek/platform/process.h"
#include "vek/platform/system.h"

namespace {

namespace result = vek::result;
using tests::Ask;
using tests::Call;
using tests::Echo;
using tests::Ends;
using tests::NewEndpoint;
using tests::TextHandler;
using tests::WaitUntil;

TEST(Transport, CarriesPacketsOfEverySizeBothWays) {
    Ends ends;
    for (const std::size_t size :
         {0u, 1u, 64u, 8150u, 8192u, 65'534u, 65'535u, 65'536u, 5'000'000u}) {
        std::string text(size, 'x');
        for (std::size_t i = 0; i < size; i += 61) text[i] = static_cast<char>(i);
        for (auto* end : {&ends.client, &ends.server}) EXPECT_TRUE(Ask(**end, text) == text);
    }
#ifndef _WIN32                     // which refuses ports: rpc_win32_test.cpp
    Ends at_port(Echo, Echo, {});  // the system chooses it
    EXPECT_NE(at_port.listener->endpoint().tcp_port, 0);
    for (auto* end : {&at_port.client, &at_port.server}) {
        EXPECT_EQ(Ask(**end, "there"), "there");
        EXPECT_EQ((*end)->peer().process_id, vek::platform::CurrentProcessId());
    }
#endif
}

TEST(Transport, ServesCallsWithinCallsAndRefusesEndlessOnes) {
    Ends* ends = nullptr;
    const auto down = [&ends](std::shared_ptr<remote::Transport> Ends::*peer) {
        return [&ends, peer](const std::string& text) {
            const int depth = std::stoi(text);
            return depth == 0 ? "bottom" : Ask(*(ends->*peer), std::to_string(depth - 1));
        };
    };
    Ends both(down(&Ends::server), down(&Ends::client));
    ends = &both;
    both.listener.reset();  // what is connected goes on
    EXPECT_EQ(Ask(*both.client, "40"), "bottom");
    EXPECT_EQ(Ask(*both.server, "39"), "bottom");
    EXPECT_EQ(Ask(*both.client, "100000"), "failed");
    EXPECT_EQ(Ask(*both.client, "1"), "bottom");
}

// A listener's side that calls its peer the moment that it has it.
TEST(Transport, CallsAPeerAsSoonAsItIsTakenIn) {
    struct Caller final : vek::trace::Tracer {
        bool IsEnabled(vek::trace::level_t) const noexcept override { return true; }
        void Write(vek::trace::level_t, std::string_view line) noexcept override {
            if (!line.ends_with("has connected")) return;
            asking = std::jthread([this] { answer.set_value(Ask(*peer, "there")); });
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        std::shared_ptr<remote::Transport> peer;
        std::promise<std::string> answer;
        std::jthread asking;
    };
    const auto caller = std::make_shared<Caller>();
    const auto handler = std::make_shared<TextHandler>(Echo);
    const remote::Endpoint endpoint = NewEndpoint();
    std::unique_ptr<remote::Listener> listener;
    std::shared_ptr<remote::Transport> client;
    ASSERT_EQ(remote::Listen(endpoint, tests::Keep(caller->peer, handler), {caller, {}}, listener),
              result::kOk);
    EXPECT_EQ(remote::ConnectTransport(endpoint, handler, {}, client), result::kOk);
    EXPECT_EQ(caller->answer.get_future().get(), "there");
    caller->peer.reset();
}

TEST(Transport, EndsTheCallsThatWaitWhenItIsClosed) {
    std::atomic<bool> release{false};
    std::atomic<int> waiting{0};
    Ends ends([&](const std::string& text) {
        ++waiting;
        WaitUntil([&] { return release.load(); });
        --waiting;
        return text;
    });
    std::vector<std::jthread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back(
            [&] { EXPECT_EQ(Call(*ends.client, "wait"), result::kRemoteCallFailed); });
    }
    EXPECT_TRUE(WaitUntil([&] { return waiting == 3; }));
    ends.client->Close(result::kInvalidVersion);
    ends.client->Close(result::kOk);
    threads.clear();
    EXPECT_EQ(ends.client_handler->Closed(), result::kInvalidVersion);
    EXPECT_EQ(ends.server_handler->Closed(), result::kRemoteCallFailed);
    EXPECT_FALSE(ends.server->IsOpen());
    EXPECT_EQ(Call(*ends.client, "late"), result::kNotReady);
    EXPECT_EQ(Call(*ends.server, "late"), result::kNotReady);
    release = true;
    EXPECT_TRUE(WaitUntil([&] { return waiting == 0; }));  // they use what is destroyed now
}

TEST(Transport, SaysWhyThereIsNoReply) {
    Ends* served = nullptr;
    std::atomic<bool> is_gone{false};
    Ends ends([&](const std::string& text) {
        if (text == "let go") {
            served->server.reset();
            is_gone = true;
        }
        return text;
    });
    served = &ends;
    EXPECT_EQ(Call(*ends.client, "no reply"), result::kUnexpected);
    ends.server_handler->events.assign(254, 0);  // more than a reply can have over sockets
    EXPECT_NE(Call(*ends.client, "no room"), result::kInsufficientResources)
        << "that says that it was not carried out";
    ends.server_handler->events.clear();
    EXPECT_TRUE(ends.client->IsOpen());
    EXPECT_EQ(Call(*ends.client, "let go"), result::kRemoteCallFailed);
    EXPECT_EQ(ends.client_handler->Closed(), result::kRemoteCallFailed);
    EXPECT_TRUE(WaitUntil([&] { return is_gone.load(); }));

    Ends others;
    others.server_handler.reset();
    EXPECT_EQ(Call(*others.client, "nobody serves"), result::kNotReady);
    EXPECT_EQ(Call(*others.server, "wrong id"), result::kRemoteCallFailed);
    EXPECT_FALSE(others.server->IsOpen());
}

TEST(Transport, ConnectsToNobodyButAPeerThatTakesItIn) {
    auto handler = std::make_shared<TextHandler>(Echo);
    const remote::Endpoint endpoint = NewEndpoint();
    std::shared_ptr<remote::Transport> client;
    const auto connect = [&](const remote::TransportConfig& config = {}) {
        return remote::ConnectTransport(endpoint, handler, config, client);
    };
    remote::TransportConfig careful;
    careful.peer_check = [](std::uint32_t id) { return id != vek::platform::CurrentProcessId(); };
    const remote::AcceptPeer refuse = [](auto) { return nullptr; };
    const remote::AcceptPeer accept = [&](auto) { return handler; };
    const struct {
        remote::AcceptPeer accept;
        remote::TransportConfig listening, connecting;
    } refusals[] = {{refuse, {}, {}}, {accept, {}, careful}, {accept, careful, {}}};
    for (const auto& c : refusals) {
        EXPECT_EQ(connect(), result::kNotReady);
        std::unique_ptr<remote::Listener> listener, second;
        ASSERT_EQ(remote::Listen(endpoint, c.accept, c.listening, listener), result::kOk);
        EXPECT_EQ(remote::Listen(endpoint, refuse, {}, second), 0x80010105u);
        EXPECT_EQ(connect(c.connecting), result::kAccessDenied);
    }
    EXPECT_EQ(client, nullptr);
}

TEST(PeerShares, AreLimitedByProcessAndByAccount) {
    const auto shares = std::make_shared<remote::PeerShares>();
    std::vector<remote::peer_share_t> held;
    const std::tuple<std::uint32_t, const char*, std::size_t> cases[] = {
        {1, "", 8},  {2, "a", 8}, {3, "a", 8}, {4, "a", 8},
        {5, "a", 8}, {6, "a", 0}, {1, "b", 0}, {6, "b", 8}};
    for (const auto& [process, account, most] : cases) {
        const std::size_t before = held.size();
        while (auto share = shares->Take(process, account)) held.push_back(std::move(share));
        EXPECT_EQ(held.size(), before + most) << process << account;
    }
    held.clear();
    EXPECT_TRUE(shares->Take(1, "a"));
}

TEST(Transport, CarriesHandlesWhereBothEndsTakeThemAndLeavesNone) {
    using enum remote::HandlePolicy;
    vek::platform::System& system = vek::platform::TheSystem();
    for (const auto policy : {kRefuse, kDuplicate, kAdopt}) {
        remote::TransportConfig config;
        config.handles = policy;
        Ends ends(Echo, Echo, NewEndpoint(), config);
        const bool taken = policy != kRefuse;
        const auto there = system.NewEvent(vek::platform::EventKind::kManualReset);
        const auto back = system.NewEvent(vek::platform::EventKind::kManualReset);
        ends.server_handler->events = {back->handle()};
        const std::array<remote::handle_t, 1> handles{there->handle()};
        const std::ptrdiff_t before = tests::OpenHandles();
        for (int i = 0; i < 100; ++i) {
            remote::RpcProtocolProcessorOut request;
            if (taken || i % 2 != 0) request.SetFileHandles(handles);
            remote::RpcProtocolProcessorIn reply;
            EXPECT_EQ(ends.client->SendReceiveWithFiles(request, reply),
                      taken ? result::kOk : result::kNotSupported);
            for (const remote::handle_t handle : reply.handles()) tests::SetAndClose(handle);
        }
        EXPECT_LT(tests::OpenHandles(), before + 50);
        for (auto* const event : {there.get(), back.get()}) {
            const auto status = system.WaitAny({&event, 1}, std::chrono::milliseconds(0)).status;
            EXPECT_EQ(status == vek::platform::WaitStatus::kSignalled, taken);
        }
    }
}

// The other process, connected whichever way, is killed at rest and in a call, also where it may
// not be opened.
TEST(Transport, NoticesThatThePeerIsKilled) {
    for (int way = 0; way < 8; ++way) {
        const bool listens = way % 2 != 0, in_call = way / 2 % 2 != 0;
        vek::platform::RefuseProcesses(way / 4 != 0);
        const remote::Endpoint endpoint = NewEndpoint();
        auto handler = std::make_shared<TextHandler>(Echo);
        std::shared_ptr<remote::Transport> transport;
        std::unique_ptr<remote::Listener> listener;
        std::atomic<bool> connected{false};
        const auto accept = [&](std::shared_ptr<remote::Transport> made) {
            transport = std::move(made);
            connected = true;
            return handler;
        };
        ASSERT_TRUE(listens || vek::Succeeded(remote::Listen(endpoint, accept, {}, listener)));
        const auto peer =
            sandbox::StartBeside("transport_peer", (listens ? "listen:" : "connect:") +
                                                       std::to_string(endpoint.local_id));
        ASSERT_TRUE(WaitUntil([&] {
            if (listens) remote::ConnectTransport(endpoint, handler, {}, transport);
            return listens ? transport != nullptr : connected && transport->IsOpen();
        }));

        EXPECT_EQ(Ask(*transport, "back there"), "there");
        EXPECT_NE(transport->peer().process_id, vek::platform::CurrentProcessId());
        std::thread caller([&] {
            const auto code = in_call ? Call(*transport, "hang") : result::kRemoteCallFailed;
            EXPECT_EQ(code, result::kRemoteCallFailed);
        });
        if (in_call) std::this_thread::sleep_for(std::chrono::milliseconds(200));
        peer->Kill();
        caller.join();
        EXPECT_EQ(handler->Closed(), result::kRemoteCallFailed);
        EXPECT_EQ(Call(*transport, "late"), result::kNotReady);
    }
    vek::platform::RefuseProcesses(false);
}

}  // namespace
