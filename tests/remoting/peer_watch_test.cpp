// How long calls wait for a peer that is slow, or silent, over the system's own transport.

#include <future>

#include "tests/remoting/pair_fixture.h"
#include "tests/support/fake_clock.h"
#include "tests/support/fake_settings.h"
#include "tests/support/wait_until.h"
#include "vek/platform/flag.h"
#include "vek/platform/thread.h"
#include "vek/remoting/server.h"

namespace tests {
namespace {

using plugins::product::IProductSettings;
using std::chrono::milliseconds;

// Serves settings that are given when `go` is raised; while `mute` it answers nothing before that.
struct SlowPeer final : remote::RequestHandler {
    explicit SlowPeer(std::shared_ptr<remote::Transport> transport) {
        remoting::ConnectionConfig config;
        config.factories = plugins::remoting::RemoteInterfaces();
        config.master = std::make_shared<TestMaster>(
            RefPtr<IProductSettings>(vek::MakeObject<FakeSettings>([this](FakeSettings::Record&) {
                go.Wait();
                return result::kOk;
            })));
        EXPECT_EQ(remoting::Connection::Create(config, connection), result::kOk);
        connection->Attach(std::move(transport));
    }
    void HandleRequest(remote::RpcProtocolProcessorIn& request,
                       remote::ReplySender& reply) noexcept override {
        ++requests;
        if (mute) go.Wait();
        connection->HandleRequest(request, reply);
    }
    void OnTransportClosed(result_t reason) noexcept override {
        connection->OnTransportClosed(reason);
    }

    std::shared_ptr<remoting::Connection> connection;
    vek::platform::Flag go;
    std::atomic<bool> mute{false};
    std::atomic<int> requests{0};
};

// Stands still while the machine sleeps.
struct SleepyClock final : FakeClock {
    milliseconds AwakeTime() noexcept override {
        return asleep ? milliseconds{1000} : FakeClock::AwakeTime();
    }
    bool asleep = false;
};

TEST(PeerWatch, WaitsForThoseWhoLiveAndNoLongerThanItIsTold) {
    enum Scope { kNone, kLimited, kWatched };
    // A machine that others share stands still for 200 ms at times: who is to live has more.
    constexpr milliseconds kShort{200}, kAmple{1000}, kLong{60000};
    const struct {
        const char* what;
        Scope scope;
        bool mute, asleep, ending;
        milliseconds patience;
        bool is_answered;
    } kCases[] = {
        {"without limit", kNone, true, false, false, kShort, true},
        {"limited, slow", kLimited, false, false, false, kShort, false},
        {"limited, silent", kLimited, true, false, false, kShort, false},
        {"watched, slow", kWatched, false, false, false, kAmple, true},
        {"watched, silent", kWatched, true, false, false, kShort, false},
        {"watched, silent, asleep", kWatched, true, true, false, kShort, true},
        {"at the end, slow", kWatched, false, false, true, kLong, true},
        {"at the end, silent", kWatched, true, false, true, kLong, false},
        {"at the end, limited", kLimited, true, false, true, kLong, false},
    };
    const auto before = vek::LiveObjectCount();
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.what);
        SleepyClock clock;
        clock.asleep = row.asleep;
        const auto watch = std::make_shared<remoting::PeerWatch>(
            remoting::PeerWatchTimes{row.patience / 5, row.patience,
                                     row.is_answered ? kAmple : kShort},
            clock);
        std::shared_ptr<SlowPeer> peer;
        std::unique_ptr<remote::Listener> listener;
        const remote::Endpoint endpoint{vek::platform::CurrentProcessId(), 0};
        ASSERT_EQ(remote::Listen(
                      endpoint,
                      [&](auto transport) {
                          return peer = std::make_shared<SlowPeer>(std::move(transport));
                      },
                      {}, listener),
                  result::kOk);
        remoting::ConnectionConfig config;
        config.factories = plugins::remoting::RemoteInterfaces();
        config.watch = watch;
        std::shared_ptr<remoting::Connection> client;
        ASSERT_EQ(remoting::ConnectToServer(endpoint, config, kPatiently, client), result::kOk);
        RefPtr<vek::IServiceLocator> locator;
        RefPtr<IProductSettings> settings;
        ASSERT_EQ(client->GetServiceLocator(locator), result::kOk);
        ASSERT_EQ(
            locator->GetInterface(IProductSettings::kInterfaceId, nullptr, settings.put_void()),
            result::kOk);

        peer->mute = row.mute;
        peer->requests = 0;
        auto call = std::async(std::launch::async, [&] {
            const remoting::EventScope event(row.patience);
            std::optional<remoting::LimitedCalls> limited;
            std::optional<remoting::WatchedCalls> watched;
            if (row.scope == kLimited) limited.emplace();
            if (row.scope == kWatched) watched.emplace();
            FakeSettings::Record record;
            return settings->GetSettings(record);
        });
        if (row.ending) {
            while (peer->requests == 0) std::this_thread::yield();
            watch->Hasten();
        }
        const auto limit = row.is_answered ? 3 * kAmple / 2 : kLong / 4;
        EXPECT_EQ(call.wait_for(limit) == std::future_status::ready, !row.is_answered);
        if (row.is_answered && row.scope == kWatched && !row.mute) {
            EXPECT_GE(peer->requests, 3) << "it was asked for signs";
        }
        peer->go.Raise();
        EXPECT_EQ(call.get(), row.is_answered ? result::kOk : result::kRemoteCallFailed);
        EXPECT_EQ(client->was_silent(), !row.is_answered);
        EXPECT_EQ(client->IsOpen(), row.is_answered);
        watch->Close();
        client->Close(result::kOk);
        peer->connection->Close(result::kOk);
    }
    EXPECT_TRUE(WaitUntil([&] { return vek::LiveObjectCount() <= before; }));
}

// What two threads wait for one event counts together, what one waits for another's is its own, and
// time in which the machine sleeps is nobody's.
TEST(CallWait, SpendsOneBudgetForAnEvent) {
    struct : FakeClock {
        milliseconds AwakeTime() noexcept override { return awake; }
        milliseconds awake{1000};
    } clock;
    const auto wait = [&](milliseconds time) {
        const remoting::LimitedCalls limited;
        const remoting::LimitedCalls within;  // counts once
        clock.awake += time;
    };
    const auto made = [&] {
        return std::make_shared<remoting::WaitBudget>(milliseconds{1000}, clock);
    };
    const remoting::EventScope event(made());
    wait(milliseconds{200});
    std::thread([&, budget = remoting::EventScope::Budget()] {
        const remoting::EventScope same(budget);
        wait(milliseconds{150});
    }).join();
    {
        const remoting::EventScope other(made());
        wait(milliseconds{300});
    }
    EXPECT_EQ(remoting::LimitedCalls().left(), milliseconds{650});
}

}  // namespace
}  // namespace tests
