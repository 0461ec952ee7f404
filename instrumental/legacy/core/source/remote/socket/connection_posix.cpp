// A connection's end and its calls.

#include "remote/socket/connection_posix.h"

#include <sys/socket.h>

#include <array>

#include "remote/socket/address_posix.h"
#include "remote/socket/handle_transfer_posix.h"

namespace remote {
namespace {

namespace result = vek::result;
using vek::platform::Descriptor;

std::string_view TextOf(Receiving received) noexcept {
    switch (received) {
        case Receiving::kFrame:
            return "an unexpected frame came";
        case Receiving::kEnded:
            return "the peer has gone";
        case Receiving::kLost:
            return "the peer has gone in the middle of a frame";
        case Receiving::kMalformed:
            return "a malformed frame came";
        case Receiving::kNoMemory:
            return "there is no memory for a frame";
        case Receiving::kTooMuch:
            return "the peer has too much in this process";
    }
    return {};
}

}  // namespace

SocketConnection::SocketConnection(Descriptor control, PeerIdentity peer,
                                   const TransportConfig& config)
    : PeerConnection(config, std::move(peer)), control_(std::move(control)) {}

void SocketConnection::OnEnded(Ending) noexcept {
    ::shutdown(control(), SHUT_RDWR);
    pool_.End();
    calling_.End();
    serving_.End();
}

vek::result_t SocketConnection::Lose(Receiving received) noexcept { return Lose(TextOf(received)); }

vek::result_t SocketConnection::Call(RpcProtocolProcessorOut& request,
                                     RpcProtocolProcessorIn& reply) {
    if (!IsOpen()) return result::kNotReady;
    SocketChannel* channel = SocketCallFrame::ChannelTo(*this);
    channel_ptr_t taken;
    if (channel == nullptr) {
        const vek::result_t code =
            pool_.Take([this](channel_ptr_t& made) { return OpenChannel(made); }, taken);
        if (vek::Failed(code)) return NotCarriedOut(code);
        channel = taken.get();
    }
    const vek::result_t code = Exchange(*channel, request, reply);
    if (taken && !pool_.GiveBack(taken)) calling_.Remove(taken);
    return code;
}

// Gives one end of a new pair of sockets to the peer.
vek::result_t SocketConnection::OpenChannel(channel_ptr_t& channel) {
    Descriptor here;
    Descriptor there;
    if (const auto code = MakePair(here, there); vek::Failed(code)) return code;
    const auto made = std::make_shared<SocketChannel>(std::move(here));
    if (!calling_.Add(made)) return IsOpen() ? result::kInsufficientResources : result::kNotReady;

    const std::array<int, 1> descriptors{there.get()};
    Sending sent;
    {
        const std::lock_guard guard(control_lock_);
        sent = SendFrame(control(), FrameKind::kNewChannel, {}, {}, descriptors);
    }
    there = Descriptor();
    vek::result_t verdict = result::kInsufficientResources;
    if (sent == Sending::kSent) {
        Frame frame;
        const Receiving received = ReceiveFrame(made->socket(), kVerdictSize, frame);
        if (received != Receiving::kFrame) {
            Lose(received);
            return result::kNotReady;
        }
        if (frame.kind != FrameKind::kWelcome || !ReadVerdict(frame, verdict)) {
            Lose(Receiving::kFrame);
            return result::kNotReady;
        }
    } else if (sent == Sending::kLost) {
        Lose(Receiving::kEnded);
        return result::kNotReady;
    }
    if (vek::Failed(verdict)) {
        calling_.Remove(made);
        return verdict;
    }
    channel = made;
    return result::kOk;
}

inline vek::result_t SocketConnection::Exchange(SocketChannel& channel,
                                                RpcProtocolProcessorOut& request,
                                                RpcProtocolProcessorIn& reply) {
    vek::result_t failure = result::kOk;
    switch (SendPacket(channel.socket(), FrameKind::kRequest, request, failure)) {
        case Sending::kSent:
            break;
        case Sending::kNotBegun:
            return NotCarriedOut(failure);
        case Sending::kLost:
            // An incomplete request cannot have been carried out.
            Lose(Receiving::kEnded);
            return result::kNotReady;
    }
    for (;;) {
        Frame frame(budget());
        const Receiving received =
            ReceiveOnChannel(channel.socket(), reply.room(), frame, reply.landing());
        if (received != Receiving::kFrame) return Lose(received);
        if (frame.kind != FrameKind::kRequest) return TakeReply(frame, request, reply);
        if (!ServeRequest(channel, frame)) return Lose(Receiving::kEnded);
    }
}

vek::result_t SocketConnection::TakeReply(Frame& frame, const RpcProtocolProcessorOut& request,
                                          RpcProtocolProcessorIn& reply) {
    if (frame.kind == FrameKind::kNoReply) {
        vek::result_t verdict = result::kOk;
        if (!ReadVerdict(frame, verdict)) return Lose(Receiving::kMalformed);
        return vek::Failed(verdict) ? verdict : result::kUnexpected;
    }
    if (frame.kind != FrameKind::kReply) return Lose(Receiving::kFrame);
    PosixHandleTransfer transfer(std::move(frame.descriptors));
    if (const auto code = frame.ParseBy(reply); vek::Failed(code)) return code;
    return TakeParsedReply(request, transfer, reply);
}

}  // namespace remote
