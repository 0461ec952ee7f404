#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "remote/transport.h"
#include "vek/platform/thread.h"
#include "vek/remoting/connection.h"

namespace vek::remoting {

struct ServerConfig {
    remote::Endpoint endpoint;
    remote::TransportConfig transport;
    // Every connection is made with this; its on_closed is not used.
    ConnectionConfig connection;
    // Makes the master object that one peer gets, instead of that of `connection`: each is served
    // as who it is. On any thread, several at once; null, or an exception, refuses the peer. May be
    // empty.
    std::function<std::shared_ptr<MasterObject>(const remote::PeerIdentity& peer)> master_for;
    // Who has not agreed the protocol features so long after being taken in is dropped. Longer than
    // one event of a client's waits.
    std::chrono::milliseconds agreement_limit{5000};
    // Peers beyond this are refused, those of one process or account before (transport.h).
    std::size_t most_connections = 64;
    // Told of peers that came and went, on any thread, several at once, the last of them perhaps
    // after the server was destroyed. May be empty.
    std::function<void(const remote::PeerIdentity& peer)> on_connected;
    std::function<void(const remote::PeerIdentity& peer, result_t reason)> on_disconnected;
};

// Serves every process that connects at an endpoint, until it is destroyed: then nobody can connect
// any more, and all connections are closed.
class Server {
public:
    // The codes are those of remote::Listen, and kInsufficientResources.
    static result_t Start(ServerConfig config, std::unique_ptr<Server>& server) noexcept;
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    remote::Endpoint endpoint() const noexcept { return listener_->endpoint(); }
    std::size_t connection_count() const noexcept;

private:
    struct State;
    explicit Server(std::shared_ptr<State> state) noexcept;

    std::shared_ptr<State> state_;
    std::unique_ptr<remote::Listener> listener_;
    std::unique_ptr<platform::Thread> dropping_;
};

// Connects to a process that serves at `endpoint`. `config.on_closed` is told of the end. The codes
// are those of remote::ConnectTransport.
result_t ConnectToServer(const remote::Endpoint& endpoint, ConnectionConfig config,
                         const remote::TransportConfig& transport_config,
                         std::shared_ptr<Connection>& connection) noexcept;

}  // namespace vek::remoting
