// The serving side of a connection.

#include "remote/socket/address_posix.h"
#include "remote/socket/connection_posix.h"
#include "remote/socket/handle_transfer_posix.h"
#include "vek/core/border.h"
#include "vek/platform/system.h"
#include "vek/trace/line.h"

namespace remote {
namespace {

namespace result = vek::result;
namespace trace = vek::trace;

class ChannelReply final : public ReplySender {
public:
    ChannelReply(const SocketConnection& connection, SocketChannel& channel,
                 SocketCallFrame& call) noexcept
        : connection_(connection), channel_(channel), call_(call) {}

    vek::result_t Send(RpcProtocolProcessorOut& reply) noexcept override {
        if (call_.replied()) return result::kUnexpected;
        if (reply.has_file_handles() && !connection_.SupportsFiles()) {
            return failure_ = result::kNotSupported;
        }
        const Sending sent = SendPacket(channel_.socket(), FrameKind::kReply, reply, failure_);
        if (sent == Sending::kNotBegun) return failure_;
        call_.set_replied();
        lost_ = sent == Sending::kLost;
        return lost_ ? result::kRemoteCallFailed : result::kOk;
    }

    bool lost() const noexcept { return lost_; }
    // The code that the peer is told when it gets no reply. One of them would say that the request
    // was not carried out.
    vek::result_t failure() const noexcept {
        return failure_ == result::kInsufficientResources ? result::kOutOfMemory : failure_;
    }

private:
    const SocketConnection& connection_;
    SocketChannel& channel_;
    SocketCallFrame& call_;
    vek::result_t failure_ = result::kUnexpected;
    bool lost_ = false;
};

}  // namespace

thread_local SocketCallFrame* SocketCallFrame::innermost_ = nullptr;

void SocketConnection::WatchControl() noexcept {
    AwaitOpening();
    for (;;) {
        Frame frame;
        const Receiving received = ReceiveFrameWithDescriptors(control(), 0, frame);
        if (received != Receiving::kFrame || frame.kind != FrameKind::kNewChannel ||
            frame.descriptors.size() != 1) {
            Lose(received);
            return;
        }
        if (PeerProcess(frame.descriptors.front().get()) != peer_process_id()) {
            Lose("a channel came that is not the peer's");
            return;
        }
        const vek::result_t taken_in =
            vek::AtBorder([&] { TakeInChannel(std::move(frame.descriptors.front())); });
        if (vek::Failed(taken_in)) {
            Lose(Receiving::kNoMemory);
            return;
        }
    }
}

// The peer of a channel that is refused has to do with those that it has.
void SocketConnection::TakeInChannel(vek::platform::Descriptor socket) {
    const auto channel = std::make_shared<SocketChannel>(std::move(socket));
    if (serving_.Add(channel)) {
        const auto thread = vek::platform::TheSystem().StartThread(
            [self = shared_from_this(), channel] { self->ServeChannel(channel); });
        if (thread) return;
        serving_.Remove(channel);
    }
    trace::Write(tracer(), trace::level::kRemoting, "rmt\tChannel of process ", peer_process_id(),
                 " is refused");
    SendVerdict(channel->socket(), FrameKind::kWelcome, result::kInsufficientResources);
}

void SocketConnection::ServeChannel(const channel_ptr_t& channel) noexcept {
    SendVerdict(channel->socket(), FrameKind::kWelcome, result::kOk);
    PacketRoom room;
    for (;;) {
        Frame frame(budget());
        const Receiving received = ReceiveOnChannel(channel->socket(), room, frame);
        if (received == Receiving::kEnded) break;
        if (received != Receiving::kFrame || frame.kind != FrameKind::kRequest) {
            Lose(received);
            break;
        }
        if (!ServeRequest(*channel, frame)) {
            Lose(Receiving::kEnded);
            break;
        }
    }
    serving_.Remove(channel);
}

bool SocketConnection::ServeRequest(SocketChannel& channel, Frame& frame) noexcept {
    SocketCallFrame call(*this, channel);
    ChannelReply reply(*this, channel, call);
    PosixHandleTransfer transfer(std::move(frame.descriptors));
    const vek::result_t refusal = HandleRequest(
        SocketCallFrame::Depth() > kMaxNesting,
        [&](RpcProtocolProcessorIn& request) { return frame.ParseBy(request); }, transfer, reply);
    if (call.replied()) return !reply.lost();
    return SendVerdict(channel.socket(), FrameKind::kNoReply,
                       vek::Failed(refusal) ? NotCarriedOut(refusal) : reply.failure()) ==
           Sending::kSent;
}

}  // namespace remote
