#include "vek/remoting/call_sender.h"

#include "vek/core/border.h"
#include "vek/remoting/call_frame.h"
#include "vek/remoting/connection.h"
#include "vek/trace/line.h"

namespace vek::remoting {

namespace level = trace::level;

// The same steps report themselves under two names.
struct CallSender::Texts {
    const char* cannot_place;
    const char* cannot_unwrap;
};

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

result_t CallSender::SendReceive(const CallTarget& target, const Rope& request,
                                 Reply& reply) noexcept {
    static constexpr Texts kTexts{"VEK remoting: cannot place data in out packet",
                                  "VEK remoting: cannot unwrap reply"};
    return Exchange(kTexts, target, request, reply);
}

result_t CallSender::DoSendReceiveWithRopes(const CallTarget& target, const Rope& request,
                                            Reply& reply) noexcept {
    static constexpr Texts kTexts{
        "VEK remoting, DoSendReceiveWithRopes: cannot place data in out packet",
        "VEK remoting, DoSendReceiveWithRopes: cannot unwrap reply"};
    return Exchange(kTexts, target, request, reply);
}

result_t CallSender::Exchange(const Texts& texts, const CallTarget& target, const Rope& request,
                              Reply& reply) noexcept {
    reply.delivered = false;
    return AtBorder([&] { return DoExchange(texts, target, request, reply); });
}

result_t CallSender::DoExchange(const Texts& texts, const CallTarget& target, const Rope& request,
                                Reply& reply) {
    CallFrame* const frame = CallFrame::Current(releases_);
    const PendingReleases released(releases_, frame, reply);

    serialization::Writer header;
    WriteRequestHeader(header, target, released.handles());
    Rope whole;
    whole.Append(header.Pieces());
    whole.Append(request.nodes());

    remote::RpcProtocolProcessorOut packet(tracer_);
    packet.SetCallIdentification(NextCallId(), frame != nullptr ? frame->call_id() : 0);
    result_t result = packet.SetCallData(whole.nodes());
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

result_t CallSender::Transmit(remote::RpcProtocolProcessorOut& packet, const Rope& request,
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
    if (result != result::kRemoteCallFailed) connection_.NoteSignOfLife();
    // That code says that it was not carried out, neither here nor there.
    reply.delivered = result != result::kInsufficientResources;
    return result;
}

// Never 0, which stands for "no call".
std::uint32_t CallSender::NextCallId() noexcept {
    std::uint32_t id;
    do {
        id = static_cast<std::uint32_t>(++request_number_);
    } while (id == 0);
    return id;
}

}  // namespace vek::remoting
