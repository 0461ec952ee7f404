#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "sandbox/child_process/child_process.h"
#include "tests/remote/transport_ends.h"
#include "tests/support/recording_tracer.h"
#include "vek/platform/system.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace {

namespace result = vek::result;
using tests::Ask;
using tests::Call;
using tests::TextHandler;

remote::Endpoint NewEndpoint() {
    static std::atomic<std::uint32_t> count{0};
    return {vek::platform::CurrentProcessId() + (++count << 22), 0};
}

std::string Echo(const std::string& text) { return text; }

// A listener with what has connected to it, and a transport to it from the same process.
struct Ends {
    explicit Ends(TextHandler::answer_t server_answer = Echo,
                  TextHandler::answer_t client_answer = Echo)
        : server_handler(std::make_shared<TextHandler>(std::move(server_answer))),
          client_handler(std::make_shared<TextHandler>(std::move(client_answer))) {
        config.tracer = tracer;
        const auto accept = [this](std::shared_ptr<remote::Transport> made) {
            server = std::move(made);
            return server_handler;
        };
        EXPECT_EQ(remote::Listen(endpoint, accept, config, listener), result::kOk);
        EXPECT_EQ(remote::ConnectTransport(endpoint, client_handler, config, client), result::kOk);
    }

    const remote::Endpoint endpoint = NewEndpoint();
    const std::shared_ptr<tests::RecordingTracer> tracer =
        std::make_shared<tests::RecordingTracer>();
    remote::TransportConfig config;
    std::shared_ptr<TextHandler> server_handler;
    std::shared_ptr<TextHandler> client_handler;
    std::shared_ptr<remote::Transport> server;
    std::shared_ptr<remote::Transport> client;
    std::unique_ptr<remote::Listener> listener;
};

TEST(Transport, CarriesPacketsOfEverySizeBothWays) {
    Ends ends;
    for (const std::size_t size : {0u, 1u, 64u, 8150u, 8192u, 70'000u, 5'000'000u}) {
        std::string text(size, 'x');
        for (std::size_t i = 0; i < size; i += 61) text[i] = static_cast<char>(i);
        EXPECT_TRUE(Ask(*ends.client, text) == text) << size;
        EXPECT_TRUE(Ask(*ends.server, text) == text) << size;
    }
    EXPECT_EQ(ends.client->peer_process_id(), vek::platform::CurrentProcessId());
    EXPECT_EQ(ends.server->peer_process_id(), vek::platform::CurrentProcessId());
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
    EXPECT_EQ(Ask(*both.client, "40"), "bottom");
    EXPECT_EQ(Ask(*both.server, "39"), "bottom");
    EXPECT_EQ(Ask(*both.client, "100000"), "failed");
    EXPECT_EQ(Ask(*both.client, "1"), "bottom");
}

TEST(Transport, CarriesTheCallsOfManyThreadsBothWays) {
    Ends ends;
    ends.listener.reset();  // what is connected goes on
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int i = 0; i < 24; ++i) {
        threads.emplace_back([&, i] {
            for (int call = 0; call < 25; ++call) {
                const std::string text(static_cast<std::size_t>(call * 997), static_cast<char>(i));
                wrong += Ask(i % 2 != 0 ? *ends.client : *ends.server, text) != text;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

TEST(Transport, EndsTheCallsThatWaitWhenItIsClosed) {
    tests::Signal release;
    std::atomic<int> waiting{0};
    Ends ends([&](const std::string& text) {
        ++waiting;
        release.Wait();
        --waiting;
        return text;
    });
    std::vector<std::thread> threads;
    std::array<vek::result_t, 3> codes{};
    for (auto& code : codes) {
        threads.emplace_back([&] {
            std::string answer;
            code = Call(*ends.client, "wait", answer);
        });
    }
    while (waiting != 3) std::this_thread::yield();
    ends.client->Close(result::kInvalidVersion);
    ends.client->Close(result::kOk);
    for (auto& thread : threads) thread.join();
    for (const auto code : codes) EXPECT_EQ(code, result::kRemoteCallFailed);
    EXPECT_EQ(ends.client_handler->closed(), 1);
    EXPECT_EQ(ends.client_handler->reason(), result::kInvalidVersion);
    EXPECT_TRUE(ends.server_handler->WaitClosed());
    EXPECT_EQ(ends.server_handler->reason(), result::kRemoteCallFailed);
    EXPECT_FALSE(ends.server->IsOpen());
    std::string answer;
    EXPECT_EQ(Call(*ends.client, "late", answer), result::kNotReady);
    EXPECT_EQ(Call(*ends.server, "late", answer), result::kNotReady);
    EXPECT_GE(ends.tracer->Count("rmt\t"), 4u);
    release.Set();
    while (waiting != 0) std::this_thread::yield();  // they use what is destroyed now
}

TEST(Transport, MayBeClosedAndLetGoInARequest) {
    std::shared_ptr<remote::Transport>* served = nullptr;
    Ends ends([&](const std::string& text) {
        served->reset();
        return text;
    });
    served = &ends.server;
    std::string answer;
    EXPECT_EQ(Call(*ends.client, "end", answer), result::kRemoteCallFailed);
    EXPECT_TRUE(ends.client_handler->WaitClosed());
}

TEST(Transport, SaysWhyThereIsNoReply) {
    Ends ends;
    std::string answer;
    EXPECT_EQ(Call(*ends.client, "no reply", answer), result::kUnexpected);
    EXPECT_TRUE(ends.client->IsOpen());
    ends.server_handler.reset();
    EXPECT_EQ(Call(*ends.client, "nobody serves", answer), result::kNotReady);
    EXPECT_EQ(Call(*ends.server, "wrong id", answer), result::kRemoteCallFailed);
    EXPECT_FALSE(ends.server->IsOpen());
}

TEST(Transport, ConnectsToNobodyButAPeerThatTakesItIn) {
    const auto handler = std::make_shared<TextHandler>(Echo);
    const remote::Endpoint endpoint = NewEndpoint();
    std::shared_ptr<remote::Transport> client;
    const auto connect = [&](const remote::TransportConfig& config = {}) {
        return remote::ConnectTransport(endpoint, handler, config, client);
    };
    remote::TransportConfig careful;
    careful.peer_check = [](std::uint32_t id) { return id != vek::platform::CurrentProcessId(); };
    const auto refuse = [](auto) { return nullptr; };
    const auto accept = [&](auto) { return handler; };
    std::unique_ptr<remote::Listener> listener;
    std::unique_ptr<remote::Listener> second;

    EXPECT_EQ(connect(), result::kNotReady);
    ASSERT_EQ(remote::Listen(endpoint, refuse, {}, listener), result::kOk);
    EXPECT_EQ(remote::Listen(endpoint, refuse, {}, second), 0x80010105u);
    EXPECT_EQ(connect(), result::kAccessDenied);
    listener.reset();
    EXPECT_EQ(connect(), result::kNotReady);
    ASSERT_EQ(remote::Listen(endpoint, accept, {}, listener), result::kOk);
    EXPECT_EQ(connect(careful), result::kAccessDenied);
    listener.reset();
    ASSERT_EQ(remote::Listen(endpoint, accept, careful, listener), result::kOk);
    EXPECT_EQ(connect(), result::kAccessDenied);
    EXPECT_EQ(client, nullptr);
}

TEST(Transport, ConnectsAtAPortThatTheSystemChose) {
    const auto handler = std::make_shared<TextHandler>(Echo);
    std::shared_ptr<remote::Transport> server;
    std::shared_ptr<remote::Transport> client;
    std::unique_ptr<remote::Listener> listener;
    const auto accept = [&](std::shared_ptr<remote::Transport> made) {
        server = std::move(made);
        return handler;
    };
    ASSERT_EQ(remote::Listen({}, accept, {}, listener), result::kOk);
    ASSERT_NE(listener->endpoint().tcp_port, 0);
    ASSERT_EQ(remote::ConnectTransport(listener->endpoint(), handler, {}, client), result::kOk);
    EXPECT_EQ(Ask(*client, "there"), "there");
    EXPECT_EQ(Ask(*server, "back"), "back");
}

void Set(remote::handle_t handle) {
#ifdef _WIN32
    ::SetEvent(reinterpret_cast<HANDLE>(handle));
    ::CloseHandle(reinterpret_cast<HANDLE>(handle));
#else
    const std::uint64_t one = 1;
    EXPECT_EQ(::write(static_cast<int>(handle), &one, sizeof one), 8);
    ::close(static_cast<int>(handle));
#endif
}

// Signals what it gets and sends back another event.
class EventHandler final : public remote::RequestHandler {
public:
    void HandleRequest(remote::RpcProtocolProcessorIn& request,
                       remote::ReplySender& reply) noexcept override {
        for (const remote::handle_t handle : request.handles()) Set(handle);
        const std::array<remote::handle_t, 1> handles{event->handle()};
        remote::RpcProtocolProcessorOut packet;
        packet.SetFileHandles(handles);
        reply.Send(packet);
    }
    void OnTransportClosed(vek::result_t) noexcept override {}

    std::unique_ptr<vek::platform::Event> event =
        vek::platform::TheSystem().NewEvent(vek::platform::EventKind::kManualReset);
};

bool IsSet(vek::platform::Event& event) {
    const std::array events{&event};
    return vek::platform::TheSystem().WaitAny(events, std::chrono::milliseconds(0)).status ==
           vek::platform::WaitStatus::kSignalled;
}

TEST(Transport, CarriesHandlesWithRequestAndReply) {
    const auto handler = std::make_shared<EventHandler>();
    const remote::Endpoint endpoint = NewEndpoint();
    std::shared_ptr<remote::Transport> server;
    std::shared_ptr<remote::Transport> client;
    std::unique_ptr<remote::Listener> listener;
    const auto accept = [&](std::shared_ptr<remote::Transport> made) {
        server = std::move(made);
        return handler;
    };
    ASSERT_EQ(remote::Listen(endpoint, accept, {}, listener), result::kOk);
    ASSERT_EQ(remote::ConnectTransport(endpoint, {}, {}, client), result::kOk);
    ASSERT_TRUE(client->SupportsFiles());

    EventHandler sent;
    const std::array<remote::handle_t, 1> handles{sent.event->handle()};
    remote::RpcProtocolProcessorOut request;
    request.SetFileHandles(handles);
    remote::RpcProtocolProcessorIn reply;
    ASSERT_EQ(client->SendReceiveWithFiles(request, reply), result::kOk);
    EXPECT_TRUE(IsSet(*sent.event));
    ASSERT_EQ(reply.handles().size(), 1u);
    Set(reply.handles()[0]);
    EXPECT_TRUE(IsSet(*handler->event));
}

// The peer is another process, which is killed.
class KilledPeer : public ::testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        const remote::Endpoint endpoint = NewEndpoint();
        const auto accept = [this](std::shared_ptr<remote::Transport> made) {
            transport = std::move(made);
            connected.Set();
            return handler;
        };
        const bool listens = GetParam() == std::string("listen");
        if (!listens) {
            ASSERT_EQ(remote::Listen(endpoint, accept, {}, listener), result::kOk);
        }
        peer = sandbox::StartBeside("transport_peer",
                                    GetParam() + (":" + std::to_string(endpoint.local_id)));
        if (!listens) {
            ASSERT_TRUE(connected.Wait());
            while (!transport->IsOpen()) std::this_thread::yield();
            return;
        }
        vek::result_t code = result::kNotReady;
        for (int i = 0; i < 1000 && code == result::kNotReady; ++i) {
            code = remote::ConnectTransport(endpoint, handler, {}, transport);
            if (vek::Failed(code)) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ASSERT_EQ(code, result::kOk);
    }

    // Kills the peer while it serves, or waits in, the call of `text`.
    void KillIn(std::string_view text) {
        std::string answer;
        vek::result_t code = result::kOk;
        std::thread caller([&] { code = Call(*transport, text, answer); });
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        peer->Kill();
        caller.join();
        EXPECT_EQ(code, result::kRemoteCallFailed);
        EXPECT_TRUE(handler->WaitClosed());
    }

    tests::Signal connected;
    tests::Signal killed;
    std::shared_ptr<TextHandler> handler =
        std::make_shared<TextHandler>([this](const std::string& text) {
            if (text == "hang") killed.Wait();
            return text;
        });
    std::shared_ptr<remote::Transport> transport;
    std::unique_ptr<remote::Listener> listener;
    std::unique_ptr<sandbox::ChildProcess> peer;
};

TEST_P(KilledPeer, IsNoticedAtRest) {
    EXPECT_EQ(Ask(*transport, "back there"), "there");
    EXPECT_NE(transport->peer_process_id(), vek::platform::CurrentProcessId());
    peer->Kill();
    EXPECT_TRUE(handler->WaitClosed());
    EXPECT_EQ(handler->reason(), result::kRemoteCallFailed);
    std::string answer;
    EXPECT_EQ(Call(*transport, "late", answer), result::kNotReady);
}

TEST_P(KilledPeer, EndsACallThatWaits) { KillIn("hang"); }

INSTANTIATE_TEST_SUITE_P(Transport, KilledPeer, ::testing::Values("listen", "connect"));

}  // namespace
