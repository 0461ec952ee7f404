// The calling side of a connection.

#include <array>

#include "remote/socket/address_posix.h"
#include "remote/socket/connection_posix.h"
#include "remote/socket/packet_posix.h"
#include "remote/socket/serving_posix.h"

namespace remote {
namespace {

using vek::platform::Descriptor;
namespace result = vek::result;

}  // namespace

vek::result_t SocketConnection::Call(RpcProtocolProcessorOut& request,
                                     RpcProtocolProcessorIn& reply) {
    if (!IsOpen()) return result::kNotReady;
    if (SocketLane* const lane = Serving::LaneTo(*this)) return Exchange(*lane, request, reply);

    lane_ptr_t lane;
    const vek::result_t taken =
        pool_.Take([this](lane_ptr_t& made) { return OpenLane(made); }, lane);
    if (vek::Failed(taken)) return taken;
    const vek::result_t code = Exchange(*lane, request, reply);
    if (!pool_.GiveBack(lane)) {
        calling_.Remove(lane);
    }
    return code;
}

// Gives one end of a new pair of sockets to the peer.
vek::result_t SocketConnection::OpenLane(lane_ptr_t& lane) {
    Descriptor here;
    Descriptor there;
    if (const auto code = MakePair(here, there); vek::Failed(code)) return code;
    const auto made = std::make_shared<SocketLane>(std::move(here));
    if (!calling_.Add(made)) return IsOpen() ? result::kInsufficientResources : result::kNotReady;

    const std::array<int, 1> descriptors{there.get()};
    Sending sent;
    {
        const std::lock_guard guard(control_lock_);
        sent = SendFrame(control(), FrameKind::kNewLane, {}, {}, descriptors);
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
    lane = made;
    return result::kOk;
}

vek::result_t SocketConnection::Exchange(SocketLane& lane, RpcProtocolProcessorOut& request,
                                         RpcProtocolProcessorIn& reply) {
    vek::result_t failure = result::kOk;
    switch (SendPacket(lane.socket(), FrameKind::kRequest, request, failure)) {
        case Sending::kSent:
            break;
        case Sending::kNotBegun:
            return failure;
        case Sending::kLost:
            // An incomplete request cannot have been carried out.
            Lose(Receiving::kEnded);
            return result::kNotReady;
    }
    for (;;) {
        Frame frame(budget_);
        const Receiving received = ReceiveOnLane(lane.socket(), frame);
        if (received != Receiving::kFrame) return Lose(received);
        if (frame.kind != FrameKind::kRequest) return ReadReply(frame, request.call_id(), reply);
        if (!ServeRequest(lane, frame)) return Lose(Receiving::kEnded);
    }
}

vek::result_t SocketConnection::ReadReply(Frame& frame, std::uint32_t call_id,
                                          RpcProtocolProcessorIn& reply) {
    if (frame.kind == FrameKind::kNoReply) {
        vek::result_t verdict = result::kOk;
        if (!ReadVerdict(frame, verdict)) return Lose(Receiving::kMalformed);
        return vek::Failed(verdict) ? verdict : result::kUnexpected;
    }
    if (frame.kind != FrameKind::kReply) return Lose(Receiving::kFrame);
    if (const auto code = ReadPacket(frame, adopt_handles_, reply); vek::Failed(code)) return code;
    if (call_id != 0 && reply.has_call_identification() && reply.call_id() != call_id) {
        return Lose("a reply to another request came");
    }
    return result::kOk;
}

}  // namespace remote
