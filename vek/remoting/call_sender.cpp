#include "vek/remoting/call_sender.h"

#include <memory>

#include "vek/core/border.h"
#include "vek/remoting/call_frame.h"
#include "vek/remoting/connection.h"
#include "vek/trace/line.h"

namespace vek::remoting {

namespace level = trace::level;

namespace {

// Handles that were let go, on their way with a request. Those of a request that was never sent
// wait for the next.
class PendingReleases {
public:
    PendingReleases(ReleaseQueue& queue, CallFrame* frame, const Reply& reply)
        : queue_(queue), reply_(reply) {
        if (frame != nullptr) frame->AddFromQueue();
        handles_ = frame != nullptr ? frame->TakeReleased() : queue.TakeAll();
    }
    ~PendingReleases() {
        if (!reply_.delivered) queue_.PutBack(std::move(handles_));
    }
    PendingReleases(const PendingReleases&) = delete;
    PendingReleases& operator=(const PendingReleases&) = delete;

    const released_t& handles() const noexcept { return handles_; }

private:
    ReleaseQueue& queue_;
    const Reply& reply_;
    released_t handles_;
};

}  // namespace

// A thread that has waited finds none of its returns predicted: what is between a call and its wait
// is one function.
result_t CallSender::Exchange(const Texts& texts, const CallTarget& target, Rope& request,
                              Reply& reply) noexcept {
    reply.delivered = false;
    return AtBorder([&] { return DoExchange(texts, target, request, reply); });
}

inline result_t CallSender::DoExchange(const Texts& texts, const CallTarget& target, Rope& request,
                                       Reply& reply) {
    CallFrame* const frame = CallFrame::Current(releases_);
    const PendingReleases released(releases_, frame, reply);

    std::unique_ptr<serialization::Writer> header;  // for the few that release handles
    if (released.handles().empty() && request.room().size() >= kRoomForHeads) {
        WriteBareRequestHeader(request.Prepend(kRequestHeaderSize), target);
    } else {
        header = std::make_unique<serialization::Writer>(remote::kRoomForHeads);
        WriteRequestHeader(*header, target, released.handles());
        request.Prepend(*header);
    }

    remote::RpcProtocolProcessorOut packet(tracer_);
    packet.SetCallIdentification(NextCallId(), frame != nullptr ? frame->call_id() : 0);
    result_t result = packet.SetCallData(request.nodes());
    packet.SetRoom(request.room());
    if (Succeeded(result) && packet.PacketSize() > remote::kMaxPacketSize) {
        result = result::kInvalidSize;
    }
    if (Failed(result)) {
        trace::Write(tracer_, level::kError, texts.cannot_place);
        return result;
    }
    result = Transmit(packet, request, reply);
    if (Failed(result)) return result;

    if (!reply.packet.has_call_data()) return result::kOk;
    serialization::Reader reader(reply.packet.GetCallData());
    const ReplyHeader reply_header = ReadReplyHeader(reader);
    result = reader.result();
    if (Failed(result)) {
        trace::Write(tracer_, level::kError, texts.cannot_unwrap);
        return result;
    }
    reply.has_data = true;
    reply.registry = &registry_;
    reply.released = reply_header.released;
    reply.data = reader.ReadBytes(reader.left());
    return reply_header.delivery;
}

inline result_t CallSender::Transmit(remote::RpcProtocolProcessorOut& packet, Rope& request,
                                     Reply& reply) {
    auto* const transport = transport_.get();
    if (transport == nullptr) return result::kRemoteCallFailed;
    const PeerWatch::Wait wait(connection_);
    result_t result;
    if (!request.Has(stream_ids::Handles)) {
        result = transport->SendReceive(packet, reply.packet);
    } else {
        if (features_.effective().transferFileHandles == 0 || !transport->SupportsFiles()) {
            trace::Write(tracer_, level::kError,
                         "VEK remoting: Transport does not support SendReceiveWithFiles.");
            return result::kNotSupported;
        }
        result = packet.SetFileHandles(request.handles());
        if (Failed(result)) {
            trace::Write(tracer_, level::kError,
                         "VEK remoting: cannot place handles in out packet");
            return result;
        }
        result = transport->SendReceiveWithFiles(packet, reply.packet);
    }
    if (result == result::kNotReady) return result::kRemoteCallFailed;
    if (result != result::kRemoteCallFailed) connection_.NoteReply();
    // That code says that it was not carried out, neither here nor there.
    reply.delivered = result != result::kInsufficientResources;
    return result;
}

// Never 0, which stands for "no call".
inline std::uint32_t CallSender::NextCallId() noexcept {
    std::uint32_t id;
    do {
        id = static_cast<std::uint32_t>(++request_number_);
    } while (id == 0);
    return id;
}

}  // namespace vek::remoting
