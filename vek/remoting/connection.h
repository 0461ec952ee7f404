#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "remote/transport.h"
#include "vek/core/service_locator.h"
#include "vek/remoting/attached_transport.h"
#include "vek/remoting/call_sender.h"
#include "vek/remoting/feature_agreement.h"
#include "vek/remoting/master_object.h"
#include "vek/remoting/peer_watch.h"
#include "vek/remoting/protocol_features.h"
#include "vek/remoting/release_queue.h"
#include "vek/remoting/stub_registry.h"
#include "vek/remoting/zeroed_room.h"
#include "vek/trace/line.h"
#include "vek/trace/tracer.h"

namespace vek::remoting {

class IncomingProcessor;

// How one end of a connection is made.
struct ConnectionConfig {
    // What this end announces. One that transfers handles has a transport that takes them.
    ProtocolFeatures features = kOwnFeatures;
    ProtocolFeatures required{};  // without these the peer is refused
    std::shared_ptr<const ProxyStubFactories> factories;
    // The object that this end offers; null for an end that only calls.
    std::shared_ptr<MasterObject> master;
    // Called once when the connection has come to its end, on any thread.
    std::function<void(result_t reason)> on_closed;
    // Makes the numbers of stub handles; counted when empty.
    std::function<std::unique_ptr<SequenceGenerator>()> make_generator;
    trace::TracerPtr tracer;
    // Bounds how long calls wait for the peer, where they ask for it. May be null.
    std::shared_ptr<PeerWatch> watch;
};

// Joins this process to one other, so that each can call objects of the other. Made by Create, then
// given its transport. Operations may be called from any thread, several at once, and none raises.
// It only composes its parts, each of which guards itself, and has no lock.
//
// Its end, by Close or because the peer was lost, is final: calls fail with kRemoteCallFailed,
// every stub is released, and proxies stay safe to use and to release.
class Connection final : public remote::RequestHandler,
                         public std::enable_shared_from_this<Connection> {
    struct Key {};

public:
    static result_t Create(ConnectionConfig config,
                           std::shared_ptr<Connection>& connection) noexcept;
    Connection(Key, ConnectionConfig config);
    ~Connection() override;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Once, before the first call.
    void Attach(std::shared_ptr<remote::Transport> transport) noexcept;

    // The client's first call: agrees the features and gives the peer's service locator, with a
    // reference. Closes the connection when the peer is incompatible.
    result_t GetServiceLocator(RefPtr<IServiceLocator>& locator) noexcept;

    // Gives back the stub behind a proxy, without a call for it: with what this thread sends next
    // while it serves the peer, otherwise with what this end sends next. Does not wait.
    void ReleaseProxy(stub_handle_t handle) noexcept;

    void Close(result_t reason) noexcept;
    bool IsOpen() const noexcept { return transport_.IsOpen(); }
    // Has recovering services (recovering_service.h) leave it; calls under way go on. Does not
    // wait.
    void Retire() noexcept { is_retired_ = true; }
    bool IsCurrent() const noexcept { return !is_retired_ && IsOpen(); }
    // Who the peer is, as the transport has it from the system; nobody before there is one.
    remote::PeerIdentity peer() const { return transport_.peer(); }

    // What has arrived from the peer so far, requests and replies: a changed number is a sign of
    // life.
    std::uint64_t signs_of_life() const noexcept;
    void NoteReply() noexcept { replies_received_.fetch_add(1, std::memory_order_relaxed); }
    // Asks the peer for one and waits for it, or for the connection's end.
    void AskForSign() noexcept;
    // Closes the connection with kRemoteCallFailed, because of a peer that does not answer.
    void LoseSilentPeer() noexcept;
    bool was_silent() const noexcept { return was_silent_; }

    // Its parts.
    StubRegistry& registry() noexcept { return *registry_; }
    FeatureAgreement& features() noexcept { return *features_; }
    CallSender& sender() noexcept { return *sender_; }
    ReleaseQueue& releases() noexcept { return releases_; }
    MasterLock& master_lock() noexcept { return master_lock_; }
    ZeroedRooms& rooms() noexcept { return rooms_; }
    const ConnectionConfig& config() const noexcept { return config_; }
    const trace::TracerPtr& tracer() const noexcept { return config_.tracer; }

    // How many requests were sent, and how many were served.
    std::uint64_t requests_sent() const noexcept { return sender_->requests_sent(); }
    std::uint64_t requests_served() const noexcept;

    // remote::RequestHandler
    void HandleRequest(remote::RpcProtocolProcessorIn& request,
                       remote::ReplySender& reply) noexcept override;
    void OnTransportClosed(result_t reason) noexcept override;

private:
    result_t Init() noexcept;
    template <class Step>
    result_t InitStep(const char* failure, Step step) noexcept;
    void End() noexcept;

    const ConnectionConfig config_;
    AttachedTransport transport_;
    std::atomic<std::uint64_t> replies_received_{0};
    std::atomic<bool> was_silent_{false};
    std::atomic<bool> is_retired_{false};
    ReleaseQueue releases_;
    MasterLock master_lock_;
    ZeroedRooms rooms_;
    // Made by Init, which Create does not return without.
    std::unique_ptr<StubRegistry> registry_;
    std::unique_ptr<FeatureAgreement> features_;
    std::unique_ptr<IncomingProcessor> incoming_;
    std::unique_ptr<CallSender> sender_;
};

// The connection as trace lines name it.
inline trace::Hex NameOf(const Connection* connection) noexcept {
    return trace::Hex(reinterpret_cast<std::uintptr_t>(connection));
}

}  // namespace vek::remoting
