// The serving side of a connection.

#include <new>

#include "remote/scoped_count.h"
#include "remote/socket/address_posix.h"
#include "remote/socket/connection_posix.h"
#include "remote/socket/packet_posix.h"
#include "remote/socket/serving_posix.h"
#include "vek/platform/system.h"
#include "vek/trace/line.h"

namespace remote {
namespace {

using vek::platform::Descriptor;
namespace result = vek::result;
namespace trace = vek::trace;

class LaneReply final : public ReplySender {
public:
    LaneReply(SocketLane& lane, Serving& serving) noexcept : lane_(lane), serving_(serving) {}

    vek::result_t Send(RpcProtocolProcessorOut& reply) noexcept override {
        if (serving_.replied()) return result::kUnexpected;
        const Sending sent = SendPacket(lane_.socket(), FrameKind::kReply, reply, failure_);
        if (sent == Sending::kNotBegun) return failure_;
        serving_.set_replied();
        lost_ = sent == Sending::kLost;
        return lost_ ? result::kRemoteCallFailed : result::kOk;
    }

    bool lost() const noexcept { return lost_; }
    // What to tell the peer when it gets no reply.
    vek::result_t failure() const noexcept { return failure_; }

private:
    SocketLane& lane_;
    Serving& serving_;
    vek::result_t failure_ = result::kUnexpected;
    bool lost_ = false;
};

}  // namespace

thread_local Serving* Serving::innermost_ = nullptr;

void SocketConnection::WatchControl() noexcept {
    state_.wait(State::kNew);
    for (;;) {
        Frame frame;
        const Receiving received = ReceiveFrameWithDescriptors(control(), 0, frame);
        if (received != Receiving::kFrame || frame.kind != FrameKind::kNewLane ||
            frame.descriptors.size() != 1) {
            Lose(received);
            return;
        }
        if (PeerProcess(frame.descriptors.front().get()) != peer_process_id_) {
            Lose("a lane came that is not the peer's");
            return;
        }
        try {
            TakeInLane(std::move(frame.descriptors.front()));
        } catch (const std::bad_alloc&) {
            Lose(Receiving::kNoMemory);
            return;
        }
    }
}

// The peer of a lane that is refused has to do with those that it has.
void SocketConnection::TakeInLane(Descriptor socket) {
    const auto lane = std::make_shared<SocketLane>(std::move(socket));
    if (serving_.Add(lane)) {
        const auto thread = vek::platform::TheSystem().StartThread(
            [self = shared_from_this(), lane] { self->ServeLane(lane); });
        if (thread) return;
        serving_.Remove(lane);
    }
    trace::Write(tracer_, trace::level::kRemoting, "rmt\tLane of process ", peer_process_id_,
                 " is refused");
    SendVerdict(lane->socket(), FrameKind::kWelcome, result::kInsufficientResources);
}

void SocketConnection::ServeLane(const lane_ptr_t& lane) noexcept {
    SendVerdict(lane->socket(), FrameKind::kWelcome, result::kOk);
    for (;;) {
        Frame frame(budget_);
        const Receiving received = ReceiveOnLane(lane->socket(), frame);
        if (received == Receiving::kEnded) break;
        if (received != Receiving::kFrame || frame.kind != FrameKind::kRequest) {
            Lose(received);
            break;
        }
        if (!ServeRequest(*lane, frame)) {
            Lose(Receiving::kEnded);
            break;
        }
    }
    serving_.Remove(lane);
}

bool SocketConnection::ServeRequest(SocketLane& lane, Frame& frame) noexcept {
    Serving serving(*this, lane);
    LaneReply reply(lane, serving);
    const vek::result_t refusal = HandleRequest(frame, reply);
    if (serving.replied()) return !reply.lost();
    return SendVerdict(lane.socket(), FrameKind::kNoReply,
                       vek::Failed(refusal) ? refusal : reply.failure()) == Sending::kSent;
}

vek::result_t SocketConnection::HandleRequest(Frame& frame, ReplySender& reply) noexcept {
    const ScopedCount served(served_);
    if (served.value() > kMaxServedRequests || Serving::Depth() > kMaxNesting) {
        trace::Write(tracer_, trace::level::kRemoting, "rmt\tRequest of process ", peer_process_id_,
                     " is refused: it has too many");
        return result::kInsufficientResources;
    }
    const std::shared_ptr<RequestHandler> handler = IsOpen() ? handler_.lock() : nullptr;
    if (!handler) return result::kNotReady;
    RpcProtocolProcessorIn request(tracer_);
    const vek::result_t read = ReadPacket(frame, adopt_handles_, request);
    if (vek::Succeeded(read)) handler->HandleRequest(request, reply);
    return read;
}

}  // namespace remote
