// A server and its clients over the system's own transport, and services that outlive their server.

#include <algorithm>
#include <thread>

#include "processing/message_processor.h"
#include "product/mail_scanner.h"
#include "sandbox/child_process/child_process.h"
#include "tests/remoting/pair_fixture.h"
#include "tests/support/fake_settings.h"
#include "tests/support/mail_fixture.h"
#include "tests/support/wait_until.h"
#include "vek/platform/thread.h"
#include "vek/remoting/recovering_service.h"
#include "vek/remoting/server.h"

namespace tests {
namespace {

using plugins::mail_processing::IMailMessage;
using plugins::mail_processing::IMailScanner;
using plugins::product::IProductSettings;

// Each call of the message from another thread: on the one that serves the check, and on one that
// does not.
result_t LookFromTwoThreads(bool, IMailMessage& message) {
    std::u16string here, there;
    message.GetSubject(here);
    std::thread([&] { message.GetSubject(there); }).join();
    return here == there ? message.SetSubject(here + u"!") : result::kUnexpected;
}

// The other end of a connection as the process's loader.
struct ConnectionLoader final : vek::ObjectImpl<plugins::ILoader> {
    explicit ConnectionLoader(remoting::Connection& connection) {
        EXPECT_EQ(connection.GetServiceLocator(locator), result::kOk);
    }
    result_t GetInterface(vek::interface_id_t id, void** object) noexcept override {
        return locator->QueryInterface(id, object);
    }
    RefPtr<vek::IServiceLocator> locator;
};

struct RemotingServer : MailFixture {
    RemotingServer() {
        remoting::ServerConfig config;
        config.agreement_limit = std::chrono::seconds(4);
        config.endpoint.local_id = vek::platform::CurrentProcessId();
        config.connection.factories = plugins::remoting::RemoteInterfaces();
        config.transport.peer_account = remote::kInteractiveUsers;
        config.master_for = [this](const remote::PeerIdentity& peer) {
            const std::lock_guard guard(peers_lock);
            peers.push_back(peer);
            return peer.process_id == refused ? nullptr : master;
        };
        EXPECT_EQ(remoting::Server::Start(std::move(config), server), result::kOk);
    }

    std::shared_ptr<remoting::Connection> Connect() {
        remoting::ConnectionConfig config;
        config.factories = plugins::remoting::RemoteInterfaces();
        std::shared_ptr<remoting::Connection> connection;
        EXPECT_EQ(remoting::ConnectToServer(server->endpoint(), std::move(config), kPatiently,
                                            connection),
                  result::kOk);
        return connection;
    }

    const std::shared_ptr<TestMaster> master = std::make_shared<TestMaster>(RefPtr<IMailScanner>(
        vek::MakeObject<reference_product::ScriptedScanner>(LookFromTwoThreads)));
    std::mutex peers_lock;
    std::vector<remote::PeerIdentity> peers;
    std::uint32_t refused = 0;
    std::unique_ptr<remoting::Server> server;
};

TEST_F(RemotingServer, ServesEachPeerAsWhomTheSystemSaysThatItIs) {
    const auto connection = Connect();
    ASSERT_EQ(peers.size(), 1u);
    for (const remote::PeerIdentity& one : {peers[0], connection->peer()}) {
        EXPECT_EQ(one.process_id, vek::platform::CurrentProcessId());
        EXPECT_TRUE(one.is_interactive && one.integrity >= remote::kMediumIntegrity);
        EXPECT_EQ(one.account, peers[0].account);
        EXPECT_TRUE(one.account.starts_with("S-1-5-") || one.account.starts_with("uid:"));
    }
    refused = peers[0].process_id;
    std::shared_ptr<remoting::Connection> none;
    EXPECT_EQ(remoting::ConnectToServer(server->endpoint(), {}, kPatiently, none),
              result::kAccessDenied);
}

TEST_F(RemotingServer, ServesManyConnectionsAndCallsAtOnce) {
    std::vector<std::thread> threads;
    for (int client = 0; client < 4; ++client) {
        threads.emplace_back([this] {
            const auto connection = Connect();
            plugins::loader::ServiceAccess services{[&](RefPtr<plugins::ILoader>& loader) {
                loader = vek::MakeObject<ConnectionLoader>(*connection);
                return result::kOk;
            }};
            std::vector<std::thread> callers;
            for (int caller = 0; caller < 3; ++caller) {
                callers.emplace_back([&] {
                    const auto processor = plugins::mail_processing::MessageProcessor::Create(
                        nullptr, functions_, nullptr,
                        {vek::platform::TheSystem(), clock_, services, tracer_});
                    for (int round = 0; round < 10; ++round) {
                        const std::string id = mapi_.store().Add(*mapi_.store().Find(entry_id_));
                        processor->ProcessMessage(mapi_.OpenMessage(id).get(), true, false);
                        const auto saved = mapi_.store().Find(id);
                        EXPECT_EQ(*saved->properties.Find(tag::kSubjectW)->content(), "Hello!");
                    }
                });
            }
            for (std::thread& caller : callers) caller.join();
            EXPECT_EQ(connection->registry().size(), 0u) << "every message is given back";
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(WaitUntil([&] { return server->connection_count() == 0 && master->locks == 0; }));
}

TEST_F(RemotingServer, HasRoomWhateverSilentPeersTake) {
    const auto honest = Connect();
    const auto its_loader = vek::MakeObject<ConnectionLoader>(*honest);
    std::array<std::shared_ptr<remoting::Connection>, 64> silent;
    for (auto& one : silent) remoting::ConnectToServer(server->endpoint(), {}, {}, one);
    EXPECT_EQ(std::ranges::count(silent, nullptr), 64 - 7) << "the honest one is of this process";
    const auto other = sandbox::StartBeside(
        "transport_peer", "connect:" + std::to_string(server->endpoint().local_id));
    ASSERT_TRUE(WaitUntil([&] { return server->connection_count() == 1; }));
    EXPECT_EQ(other->Wait(), 0) << "it was taken in, said nothing either, and was dropped";
    EXPECT_TRUE(honest->IsOpen() && Connect()->IsOpen());
}

TEST_F(RemotingServer, GoesDownUnderItsClients) {
    const auto connection = Connect();
    RefPtr<vek::IServiceLocator> locator;
    ASSERT_EQ(connection->GetServiceLocator(locator), result::kOk);
    server.reset();
    EXPECT_TRUE(WaitUntil([&] { return !connection->IsOpen(); }));
    void* service = nullptr;
    EXPECT_EQ(locator->GetInterface(IMailScanner::kInterfaceId, nullptr, &service),
              result::kRemoteCallFailed);
    std::shared_ptr<remoting::Connection> none;
    EXPECT_EQ(remoting::ConnectToServer({vek::platform::CurrentProcessId(), 0}, {}, {}, none),
              result::kNotReady);
}

TEST(RecoveringService, IsFoundAnewAfterARestart) {
    const auto answer = [](FakeSettings::Record&) { return result::kOk; };
    const auto first = vek::MakeObject<FakeSettings>(answer);
    const auto second = vek::MakeObject<FakeSettings>(answer);
    std::optional<Pair> server;  // while it runs
    std::optional<Pair> updated;
    const auto locate = [&](RefPtr<vek::IServiceLocator>& locator) {
        if (updated) return updated->client->GetServiceLocator(locator);
        return server ? server->client->GetServiceLocator(locator) : result::kNotReady;
    };
    const auto locator =
        vek::MakeObject<remoting::RecoveringLocator>(locate, plugins::remoting::RemoteInterfaces());
    RefPtr<IProductSettings> settings;
    FakeSettings::Record record;
    const auto look = [&] {
        return locator->GetInterface(IProductSettings::kInterfaceId, nullptr, settings.put_void());
    };
    EXPECT_EQ(look(), result::kNotReady);

    server.emplace(first);
    ASSERT_EQ(look(), result::kOk);
    EXPECT_EQ(settings->GetSettings(record), result::kOk);

    server->client->Close(result::kRemoteCallFailed);
    server.reset();
    EXPECT_EQ(settings->GetSettings(record), result::kNotReady);
    server.emplace(second);
    EXPECT_EQ(settings->GetSettings(record), result::kOk);

    // Lost between the call's start and its delivery: made once more, and only once.
    server->client_wire->tamper_request = [&](byte_vector&) {
        server->client->Close(result::kRemoteCallFailed);
        return true;
    };
    EXPECT_EQ(settings->GetSettings(record), result::kRemoteCallFailed);
    server.emplace(second);
    EXPECT_EQ(settings->GetSettings(record), result::kOk);
    EXPECT_EQ(first->asked, 1);
    EXPECT_EQ(second->asked, 2);

    // Retired during a call: that is left to end, the next goes elsewhere.
    server->client_wire->tamper_request = [&](auto&) { return server->client->Retire(), false; };
    EXPECT_EQ(settings->GetSettings(record), result::kOk);
    updated.emplace(first);
    EXPECT_EQ(settings->GetSettings(record), result::kOk);
    EXPECT_EQ(first->asked + second->asked, 5);

    void* nothing = nullptr;
    EXPECT_EQ(locator->GetInterface(0x7777, nullptr, &nothing), result::kInterfaceNotSupported);
    EXPECT_EQ(locator->GetInterface(IProductSettings::kInterfaceId, &nothing, &nothing),
              result::kInvalidArgument);
}

}  // namespace
}  // namespace tests
