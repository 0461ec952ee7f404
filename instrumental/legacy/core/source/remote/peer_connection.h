#pragma once

// The part of a transport that does not depend on what carries its packets: how it opens and ends,
// who serves its requests, and what a request or a reply must be to be passed on. The transports
// over sockets and over the RPC runtime add the carrying.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <string_view>

#include "remote/byte_budget.h"
#include "remote/packet/packet_buffer.h"
#include "remote/transport.h"
#include "vek/core/function_ref.h"
#include "vek/platform/lock.h"
#include "vek/trace/repeat_limiter.h"

namespace remote {

// A connection's part of what its peer may have of a listener's (establish.h).
using peer_share_t = std::shared_ptr<void>;

// One peer. It is new until it is opened, and ends once: by Close on this side or by Lose. The
// threads that serve the peer share it with the PeerTransport. Any thread, unless said otherwise.
class PeerConnection {
public:
    virtual ~PeerConnection() = default;
    PeerConnection(const PeerConnection&) = delete;
    PeerConnection& operator=(const PeerConnection&) = delete;

    // As Transport::SendReceive and Transport::SupportsFiles; Call may raise as long as nothing was
    // sent.
    virtual vek::result_t Call(RpcProtocolProcessorOut& request, RpcProtocolProcessorIn& reply) = 0;
    virtual bool SupportsFiles() const noexcept = 0;

    // Keeps the share until the end.
    void Keep(peer_share_t share) noexcept;

    // From now on `handler` serves. False when it has ended before: the handler has been told. To
    // be called once.
    bool Open(std::weak_ptr<RequestHandler> handler) noexcept;

    void Close(vek::result_t reason) noexcept { End(reason, Ending::kClosed, "it is closed"); }

    // Ends it because the peer has gone or does not keep to what is agreed; `why` is traced. Gives
    // what a call returns whose request was on its way.
    vek::result_t Lose(std::string_view why) noexcept;

    bool IsOpen() const noexcept { return state_ == State::kOpen; }
    // 0 until it is known who the peer is.
    std::uint32_t peer_process_id() const noexcept { return peer_process_id_; }
    // Once that is known, as it is for whoever has the transport.
    const PeerIdentity& peer() const noexcept { return peer_; }

protected:
    enum class Ending { kClosed, kLost };

    explicit PeerConnection(const TransportConfig& config, PeerIdentity peer = {})
        : tracer_(vek::trace::LimitRepeats(config.tracer)), handles_(config.handles) {
        set_peer(std::move(peer));
    }

    // To be called once with one that is known.
    void set_peer(PeerIdentity peer) noexcept {
        peer_ = std::move(peer);
        peer_process_id_ = peer_.process_id;
    }
    const vek::trace::TracerPtr& tracer() const noexcept { return tracer_; }
    HandlePolicy handles() const noexcept { return handles_; }
    ByteBudget& budget() noexcept { return budget_; }

    // Blocks while the connection is new.
    void AwaitOpening();

    // Parses the packet of a request that is to be served.
    using request_parser_t = vek::FunctionRef<vek::result_t(RpcProtocolProcessorIn& request)>;

    // Hands one request over to the handler, unless the peer has too many or this one is nested
    // `too_deep`. Gives why the handler was not called.
    vek::result_t HandleRequest(bool too_deep, request_parser_t parse, HandleTransfer& transfer,
                                ReplySender& sender) noexcept;

    // Reads the reply to `request`. One to another request loses the peer.
    vek::result_t ReadReply(const RpcProtocolProcessorOut& request, PacketBuffer packet,
                            HandleTransfer& transfer, RpcProtocolProcessorIn& reply) noexcept;

    // The same for one that has been read.
    vek::result_t TakeParsedReply(const RpcProtocolProcessorOut& request, HandleTransfer& transfer,
                                  RpcProtocolProcessorIn& reply) noexcept;

private:
    enum class State { kNew, kOpen, kEnded };

    void End(vek::result_t reason, Ending ending, std::string_view why) noexcept;
    vek::result_t PrepareHandles(RpcProtocolProcessorIn& packet, HandleTransfer& transfer) noexcept;

    // Ends every wait for the peer. Called once, before the handler is told.
    virtual void OnEnded(Ending ending) noexcept = 0;

    const vek::trace::TracerPtr tracer_;
    const HandlePolicy handles_;
    PeerIdentity peer_;                              // not changed once the id is set
    std::atomic<std::uint32_t> peer_process_id_{0};  // peer_'s
    std::atomic<std::uint32_t> served_{0};
    ByteBudget budget_{0};

    vek::platform::Lock state_lock_;
    std::atomic<State> state_{State::kNew};
    std::condition_variable_any left_new_;
    peer_share_t share_;
    std::weak_ptr<RequestHandler> handler_;  // set before the first request is served
    vek::result_t reason_ = vek::result::kOk;
};

// What a call returns that ended with `code` before its request was carried out.
constexpr vek::result_t NotCarriedOut(vek::result_t code) noexcept {
    return code == vek::result::kOutOfMemory ? vek::result::kInsufficientResources : code;
}

// A connection as its user holds it, who ends it by letting it go.
class PeerTransport final : public Transport {
public:
    explicit PeerTransport(std::shared_ptr<PeerConnection> connection) noexcept
        : connection_(std::move(connection)) {}
    ~PeerTransport() override { Close(vek::result::kRemoteCallFailed); }

    bool Open(std::weak_ptr<RequestHandler> handler) noexcept {
        return connection_->Open(std::move(handler));
    }

    vek::result_t SendReceive(RpcProtocolProcessorOut& request,
                              RpcProtocolProcessorIn& reply) noexcept override;
    bool SupportsFiles() const noexcept override { return connection_->SupportsFiles(); }
    vek::result_t SendReceiveWithFiles(RpcProtocolProcessorOut& request,
                                       RpcProtocolProcessorIn& reply) noexcept override {
        return SendReceive(request, reply);
    }
    void Close(vek::result_t reason) noexcept override { connection_->Close(reason); }
    bool IsOpen() const noexcept override { return connection_->IsOpen(); }
    const PeerIdentity& peer() const noexcept override { return connection_->peer(); }

private:
    const std::shared_ptr<PeerConnection> connection_;
};

}  // namespace remote
