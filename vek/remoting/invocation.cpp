#include "vek/remoting/invocation.h"

#include <memory>

#include "vek/core/current_exception.h"
#include "vek/core/throw.h"
#include "vek/remoting/connection.h"
#include "vek/trace/line.h"

namespace vek::remoting {

ReplyPort::ReplyPort(Connection& connection, CallFrame& frame,
                     const remote::RpcProtocolProcessorIn& request,
                     remote::ReplySender& sender) noexcept
    : connection_(connection), frame_(frame), request_(request), sender_(sender) {}

ReplyPort::~ReplyPort() {
    if (!sent_) Refuse(result::kUnexpected);
}

result_t ReplyPort::Send(Rope& data) noexcept {
    try {
        return DoSend(result::kOk, data);
    } catch (...) {
        const result_t code = CurrentExceptionResult();
        trace::Write(connection_.tracer(), trace::level::kError,
                     "VEK remoting: cannot add block to reply packet");
        trace::WriteCurrentException(connection_.tracer());
        Refuse(code);
        return code;
    }
}

void ReplyPort::Refuse(result_t code) noexcept {
    if (sent_) return;
    try {
        Rope none;
        DoSend(code, none);
    } catch (...) {
        trace::Write(connection_.tracer(), trace::level::kError,
                     "VEK remoting: cannot add block to reply packet");
        trace::WriteCurrentException(connection_.tracer());
    }
}

result_t ReplyPort::DoSend(result_t delivery, Rope& data) {
    if (data.Has(stream_ids::Handles)) ThrowResult(result::kNotSupported);  // no method gives any
    frame_.AddFromQueue();
    std::unique_ptr<serialization::Writer> header;  // for the few that release handles
    if (frame_.released().empty() && data.room().size() >= kRoomForHeads) {
        WriteBareReplyHeader(data.Prepend(kReplyHeaderSize), delivery);
    } else {
        header = std::make_unique<serialization::Writer>(remote::kRoomForHeads);
        WriteReplyHeader(*header, delivery, frame_.released());
        data.Prepend(*header);
    }

    remote::RpcProtocolProcessorOut packet(connection_.tracer());
    packet.SetCallIdentification(request_.call_id(), request_.parent_call_id());
    CheckResult(packet.SetCallData(data.nodes()));
    packet.SetRoom(data.room());
    if (packet.PacketSize() > remote::kMaxPacketSize) ThrowResult(result::kInvalidSize);
    sent_ = true;
    frame_.MarkAnswered();
    const result_t result = sender_.Send(packet);
    if (Succeeded(result)) static_cast<void>(frame_.TakeReleased());
    return result;
}

}  // namespace vek::remoting
