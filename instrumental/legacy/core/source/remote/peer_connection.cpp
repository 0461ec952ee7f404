#include "remote/peer_connection.h"

#include "vek/core/border.h"
#include "vek/trace/line.h"

namespace remote {
namespace {

namespace result = vek::result;
namespace trace = vek::trace;

// Counts a request for as long as it is served.
class ScopedCount {
public:
    explicit ScopedCount(std::atomic<std::uint32_t>& count) noexcept
        : count_(count), value_(++count) {}
    ~ScopedCount() { --count_; }
    ScopedCount(const ScopedCount&) = delete;
    ScopedCount& operator=(const ScopedCount&) = delete;

    // This one included.
    std::uint32_t value() const noexcept { return value_; }

private:
    std::atomic<std::uint32_t>& count_;
    const std::uint32_t value_;
};

}  // namespace

void PeerConnection::Keep(peer_share_t share) noexcept {
    const std::lock_guard guard(state_lock_);
    if (state_ != State::kEnded) share_ = std::move(share);
}

bool PeerConnection::Open(std::weak_ptr<RequestHandler> handler) noexcept {
    {
        const std::lock_guard guard(state_lock_);
        if (state_ == State::kNew) {
            handler_ = std::move(handler);
            state_ = State::kOpen;
            left_new_.notify_all();
            return true;
        }
    }
    if (const auto told = handler.lock()) told->OnTransportClosed(reason_);
    return false;
}

void PeerConnection::AwaitOpening() {
    if (state_ != State::kNew) return;
    std::unique_lock guard(state_lock_);
    left_new_.wait(guard, [this] { return state_ != State::kNew; });
}

vek::result_t PeerConnection::Lose(std::string_view why) noexcept {
    End(result::kRemoteCallFailed, Ending::kLost, why);
    return result::kRemoteCallFailed;
}

void PeerConnection::End(vek::result_t reason, Ending ending, std::string_view why) noexcept {
    std::shared_ptr<RequestHandler> handler;
    {
        const std::lock_guard guard(state_lock_);
        if (state_ == State::kEnded) return;
        state_ = State::kEnded;
        left_new_.notify_all();
        reason_ = reason;
        handler = handler_.lock();
        share_.reset();
    }
    trace::Write(tracer_, trace::level::kRemoting, "rmt\tTransport to process ", peer_process_id(),
                 " has ended: ", why, ", ", trace::Result(reason));
    OnEnded(ending);
    if (handler) handler->OnTransportClosed(reason);
}

vek::result_t PeerConnection::HandleRequest(bool too_deep, request_parser_t parse,
                                            HandleTransfer& transfer,
                                            ReplySender& sender) noexcept {
    const ScopedCount served(served_);
    if (served.value() > kMaxServedRequests || too_deep) {
        trace::Write(tracer_, trace::level::kRemoting, "rmt\tRequest of process ",
                     peer_process_id(), " is refused: it has too many");
        return result::kInsufficientResources;
    }
    const std::shared_ptr<RequestHandler> handler = IsOpen() ? handler_.lock() : nullptr;
    if (!handler) return result::kNotReady;
    RpcProtocolProcessorIn request(tracer_);
    if (const auto code = parse(request); vek::Failed(code)) return code;
    if (const auto code = PrepareHandles(request, transfer); vek::Failed(code)) return code;
    handler->HandleRequest(request, sender);
    return result::kOk;
}

vek::result_t PeerConnection::ReadReply(const RpcProtocolProcessorOut& request, PacketBuffer packet,
                                        HandleTransfer& transfer,
                                        RpcProtocolProcessorIn& reply) noexcept {
    if (const auto code = reply.ParsePacket(std::move(packet)); vek::Failed(code)) return code;
    return TakeParsedReply(request, transfer, reply);
}

vek::result_t PeerConnection::TakeParsedReply(const RpcProtocolProcessorOut& request,
                                              HandleTransfer& transfer,
                                              RpcProtocolProcessorIn& reply) noexcept {
    if (request.call_id() != 0 && reply.has_call_identification() &&
        reply.call_id() != request.call_id()) {
        return Lose("a reply to another request came");
    }
    return PrepareHandles(reply, transfer);
}

// Handles that nobody wants are not made: the packet counts as not understood.
vek::result_t PeerConnection::PrepareHandles(RpcProtocolProcessorIn& packet,
                                             HandleTransfer& transfer) noexcept {
    if (!packet.has_file_handles()) return result::kOk;
    if (handles_ == HandlePolicy::kRefuse) {
        trace::Write(tracer_, trace::level::kRemoting, "rmt\tPacket of process ", peer_process_id(),
                     " is refused: it brings handles");
        return result::kNotSupported;
    }
    return packet.PrepareHandles(transfer, handles_ == HandlePolicy::kAdopt);
}

vek::result_t PeerTransport::SendReceive(RpcProtocolProcessorOut& request,
                                         RpcProtocolProcessorIn& reply) noexcept {
    if (request.has_file_handles() && !SupportsFiles()) return result::kNotSupported;
    vek::result_t code = result::kOk;
    const auto raised = vek::AtBorder([&] { code = connection_->Call(request, reply); });
    return vek::Failed(raised) ? NotCarriedOut(raised) : code;
}

}  // namespace remote
