#include "vek/remoting/server.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>

#include "vek/core/border.h"
#include "vek/core/throw.h"
#include "vek/platform/clock.h"
#include "vek/platform/system.h"
#include "vek/trace/line.h"

namespace vek::remoting {

using std::chrono::milliseconds;

// Shared with the transports' threads, which may outlive the server.
struct Server::State : std::enable_shared_from_this<State> {
    explicit State(ServerConfig c) : config(std::move(c)) {}

    std::shared_ptr<remote::RequestHandler> Accept(std::shared_ptr<remote::Transport> transport) {
        const remote::PeerIdentity peer = transport->peer();
        const std::uint64_t number = next_number++;
        ConnectionConfig connection_config = config.connection;
        connection_config.on_closed = [weak = weak_from_this(), number, peer](result_t reason) {
            if (const auto state = weak.lock()) state->Forget(number, peer, reason);
        };
        if (config.master_for) {
            connection_config.master = config.master_for(peer);
            if (!connection_config.master) return nullptr;
        }
        std::shared_ptr<Connection> connection;
        CheckResult(Connection::Create(std::move(connection_config), connection));
        connection->Attach(std::move(transport));
        {
            const std::lock_guard guard(lock);
            if (stopped || connections.size() >= config.most_connections) return nullptr;
            const milliseconds until = platform::TheClock().AwakeTime() + config.agreement_limit;
            connections.emplace(number, Peer{connection, until});
            changed.notify_all();
        }
        Tell([&] {
            if (config.on_connected) config.on_connected(peer);
        });
        return connection;
    }

    void Forget(std::uint64_t number, const remote::PeerIdentity& peer, result_t reason) {
        std::shared_ptr<Connection> gone;  // destroyed without the lock
        {
            const std::lock_guard guard(lock);
            const auto found = connections.find(number);
            if (found == connections.end()) return;
            gone = std::move(found->second.connection);
            connections.erase(found);
        }
        Tell([&] {
            if (config.on_disconnected) config.on_disconnected(peer, reason);
        });
    }

    // Drops peers that say nothing, until the server is stopped. The body of a thread.
    void DropSilent() noexcept {
        std::unique_lock guard(lock);
        while (!stopped) {
            milliseconds pause = milliseconds::max();
            if (std::shared_ptr<Connection> silent = FindSilent(pause)) {
                guard.unlock();
                trace::Write(config.connection.tracer, trace::level::kWarning,
                             "VEK remoting: ORPC Connection(", NameOf(silent.get()),
                             ") will be closed because its peer has not agreed the protocol "
                             "features");
                silent->Close(result::kNotInitialized);
                silent.reset();
                guard.lock();
            } else if (pause == milliseconds::max()) {
                changed.wait(guard);
            } else {
                changed.wait_for(guard, std::max(pause, milliseconds{1}));
            }
        }
    }

    // Gives one that is to be dropped; null when there is none for `pause`. With the lock.
    std::shared_ptr<Connection> FindSilent(milliseconds& pause) {
        const milliseconds now = platform::TheClock().AwakeTime();
        for (auto& [number, peer] : connections) {
            if (peer.until == milliseconds::max()) continue;
            const bool agreed = peer.connection->features().synchronized();
            if (!agreed && now < peer.until) {
                pause = std::min(pause, peer.until - now);
                continue;
            }
            peer.until = milliseconds::max();  // it is looked at no more
            if (!agreed) return peer.connection;
        }
        return nullptr;
    }

    // Calls one of the configured callbacks; an exception of its is traced and dropped.
    template <class Call>
    void Tell(Call call) noexcept {
        try {
            call();
        } catch (...) {
            trace::WriteCurrentException(config.connection.tracer);
        }
    }

    struct Peer {
        std::shared_ptr<Connection> connection;
        milliseconds until;  // the awake time at which it has agreed the features
    };

    const ServerConfig config;
    std::atomic<std::uint64_t> next_number{0};
    mutable std::mutex lock;  // guards what follows
    std::map<std::uint64_t, Peer> connections;
    bool stopped = false;
    std::condition_variable changed;
};

result_t Server::Start(ServerConfig config, std::unique_ptr<Server>& server) noexcept {
    return AtBorder([&] {
        auto state = std::make_shared<State>(std::move(config));
        // The border catches it. NOLINTNEXTLINE(bugprone-unhandled-exception-at-new)
        std::unique_ptr<Server> made(new Server(state));
        const result_t result = remote::Listen(
            state->config.endpoint,
            [weak = std::weak_ptr(state)](std::shared_ptr<remote::Transport> transport)
                -> std::shared_ptr<remote::RequestHandler> {
                const auto alive = weak.lock();
                return alive ? alive->Accept(std::move(transport)) : nullptr;
            },
            state->config.transport, made->listener_);
        if (Failed(result)) return result;
        made->dropping_ = platform::TheSystem().StartThread([state] { state->DropSilent(); });
        if (!made->dropping_) return result::kInsufficientResources;
        server = std::move(made);
        return result::kOk;
    });
}

Server::Server(std::shared_ptr<State> state) noexcept : state_(std::move(state)) {}

Server::~Server() {
    listener_.reset();
    std::map<std::uint64_t, State::Peer> connections;
    {
        const std::lock_guard guard(state_->lock);
        state_->stopped = true;
        connections = state_->connections;
        state_->changed.notify_all();
    }
    for (const auto& [number, peer] : connections) peer.connection->Close(result::kOk);
    if (dropping_) dropping_->Wait(platform::kInfinite);
}

std::size_t Server::connection_count() const noexcept {
    const std::lock_guard guard(state_->lock);
    return state_->connections.size();
}

result_t ConnectToServer(const remote::Endpoint& endpoint, ConnectionConfig config,
                         const remote::TransportConfig& transport_config,
                         std::shared_ptr<Connection>& connection) noexcept {
    return AtBorder([&] {
        std::shared_ptr<Connection> made;
        result_t result = Connection::Create(std::move(config), made);
        if (Failed(result)) return result;
        std::shared_ptr<remote::Transport> transport;
        result = remote::ConnectTransport(endpoint, made, transport_config, transport);
        if (Failed(result)) return result;
        made->Attach(std::move(transport));
        connection = std::move(made);
        return result::kOk;
    });
}

}  // namespace vek::remoting
