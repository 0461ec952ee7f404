#pragma once

// How two processes come to be peers, as far as it is the same for every transport.

#include <map>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>

#include "remote/peer_connection.h"

namespace remote {

// A transport's part of ConnectTransport: reaches the process at `endpoint`, which has taken this
// one in then. A transport that is given with a failure is to be let go. May raise.
vek::result_t ConnectToPeer(const Endpoint& endpoint, const TransportConfig& config,
                            std::shared_ptr<PeerTransport>& transport);

// Counts the connections of each of a listener's peers, from before they are taken in. A shared
// object. Any thread.
class PeerShares : public std::enable_shared_from_this<PeerShares> {
public:
    // One more connection of the process, and of the account if that is named, for as long as what
    // is given exists. Null when either has as many as it may.
    peer_share_t Take(std::uint32_t process_id, const std::string& account = {});

private:
    void GiveBack(std::uint32_t process_id, const std::string& account) noexcept;

    std::mutex lock_;
    std::map<std::uint32_t, std::size_t> of_process_;
    std::map<std::string, std::size_t> of_account_;
};

// Keeps the callback and the configuration that a listener's user gave from being used once the
// listener is gone. Any thread.
class AcceptGate {
public:
    AcceptGate(AcceptPeer accept, TransportConfig config)
        : accept_(std::move(accept)), config_(std::move(config)) {}

    // Calls `use(accept, config)` unless the gate is closed. Several threads may be in at once.
    template <class Use>
    void Enter(Use use) {
        const std::shared_lock guard(lock_);
        if (open_) use(std::as_const(accept_), std::as_const(config_));
    }

    PeerShares& shares() const noexcept { return *shares_; }

    // What Listen was called with, before the gate is closed.
    const TransportConfig& config() const noexcept { return config_; }

    // Waits for those who have entered, and lets go of everything.
    void Close() noexcept {
        const std::unique_lock guard(lock_);
        open_ = false;
        accept_ = nullptr;
        config_ = {};
    }

private:
    std::shared_mutex lock_;
    bool open_ = true;
    AcceptPeer accept_;
    TransportConfig config_;
    const std::shared_ptr<PeerShares> shares_ = std::make_shared<PeerShares>();
};

// A transport's part of Listen: gives a listener at `endpoint`. May raise.
vek::result_t ListenForPeers(const Endpoint& endpoint, std::shared_ptr<AcceptGate> gate,
                             std::unique_ptr<Listener>& listener);

// Offers a peer that has connected to the listener's user and opens its connection: kAccessDenied
// when the user does not want it, kNotReady when it has been closed meanwhile. `welcome` tells the
// peer that it is wanted, before the opening: from then on this side's calls may reach it.
vek::result_t AdmitPeer(const std::shared_ptr<PeerTransport>& transport, const AcceptPeer& accept,
                        const TransportConfig& config, vek::FunctionRef<void()> welcome);

// Traces that a process is not taken in; gives kAccessDenied.
vek::result_t RefusePeer(std::uint32_t process_id, std::string_view why,
                         const TransportConfig& config) noexcept;

}  // namespace remote
