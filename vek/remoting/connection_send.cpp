// How a connection makes a call.

#include <mutex>
#include <new>

#include "vek/core/current_exception.h"
#include "vek/remoting/connection.h"
#include "vek/remoting/serving.h"
#include "vek/trace/line.h"

namespace vek::remoting {

using trace::Hex;
namespace level = trace::level;

// The same steps report themselves under two names.
struct Connection::SendTexts {
    const char* cannot_place;
    const char* cannot_unwrap;
};

namespace {

// Counts a call that may change something, when it starts and when it has ended.
class ChangeMark {
public:
    ChangeMark(std::atomic<std::uint64_t>& count, bool changes) noexcept
        : count_(changes ? &count : nullptr) {
        if (count_ != nullptr) ++*count_;
    }
    ~ChangeMark() {
        if (count_ != nullptr) ++*count_;
    }
    ChangeMark(const ChangeMark&) = delete;
    ChangeMark& operator=(const ChangeMark&) = delete;

private:
    std::atomic<std::uint64_t>* count_;
};

// Handles that were let go, on their way with a request. Those of a request that was never sent
// wait for the next.
class PendingReleases {
public:
    PendingReleases(Connection& connection, ServingFrame* frame, const Reply& reply)
        : connection_(connection), reply_(reply), handles_(connection.TakeReleased()) {
        if (frame == nullptr) return;
        const released_t own = frame->TakeReleased();
        handles_.insert(handles_.end(), own.begin(), own.end());
    }
    ~PendingReleases() {
        if (!reply_.delivered) connection_.ReleaseLater(handles_);
    }
    PendingReleases(const PendingReleases&) = delete;
    PendingReleases& operator=(const PendingReleases&) = delete;

    const released_t& handles() const noexcept { return handles_; }

private:
    Connection& connection_;
    const Reply& reply_;
    released_t handles_;
};

}  // namespace

result_t Connection::SendReceive(const CallTarget& target, const Rope& request,
                                 Reply& reply) noexcept {
    static constexpr SendTexts kTexts{"VEK remoting: cannot place data in out packet",
                                      "VEK remoting: cannot unwrap reply"};
    return Exchange(kTexts, target, request, reply);
}

result_t Connection::DoSendReceiveWithRopes(const CallTarget& target, const Rope& request,
                                            Reply& reply) noexcept {
    static constexpr SendTexts kTexts{
        "VEK remoting, DoSendReceiveWithRopes: cannot place data in out packet",
        "VEK remoting, DoSendReceiveWithRopes: cannot unwrap reply"};
    return Exchange(kTexts, target, request, reply);
}

result_t Connection::Exchange(const SendTexts& texts, const CallTarget& target, const Rope& request,
                              Reply& reply) noexcept {
    const ChangeMark mark(change_count_, (target.attributes & method_attribute::kReadsOnly) == 0);
    try {
        return DoExchange(texts, target, request, reply);
    } catch (...) {
        reply.delivered = false;
        return CurrentExceptionResult();
    }
}

result_t Connection::DoExchange(const SendTexts& texts, const CallTarget& target,
                                const Rope& request, Reply& reply) {
    reply.delivered = false;
    ServingFrame* const frame = ServingFrame::Current(*this);
    const PendingReleases released(*this, frame, reply);

    serialization::Writer header;
    WriteRequestHeader(header, target, released.handles());
    Rope whole;
    whole.Append(header.Pieces());
    whole.Append(request.nodes());

    remote::RpcProtocolProcessorOut packet(config_.tracer);
    packet.SetCallIdentification(NextCallId(), frame != nullptr ? frame->call_id() : 0);
    result_t result = packet.SetCallData(whole.nodes());
    if (Succeeded(result) && packet.PacketSize() > remote::kMaxPacketSize) {
        result = result::kInvalidSize;
    }
    if (Failed(result)) {
        trace::Write(config_.tracer, level::kError, texts.cannot_place);
        return result;
    }
    result = Transmit(packet, request, reply);
    if (Failed(result)) return result;

    serialization::Reader reader(reply.packet.GetCallData());
    const ReplyHeader reply_header = ReadReplyHeader(reader);
    result = reader.result();
    if (!reply.packet.has_call_data() || Failed(result)) {
        trace::Write(config_.tracer, level::kError, texts.cannot_unwrap);
        return Failed(result) ? result : result::kInvalidSize;
    }
    reply.connection = this;
    reply.released = reply_header.released;
    reply.data = reader.ReadBytes(reader.left());
    return reply_header.delivery;
}

result_t Connection::Transmit(remote::RpcProtocolProcessorOut& packet, const Rope& request,
                              Reply& reply) {
    auto* const transport = this->transport();
    reply.delivered = false;
    if (!open_ || transport == nullptr) return result::kRemoteCallFailed;
    result_t result;
    if (!request.Has(stream_ids::Handles)) {
        result = transport->SendReceive(packet, reply.packet);
    } else {
        if (effective_features().transferFileHandles == 0 || !transport->SupportsFiles()) {
            trace::Write(config_.tracer, level::kError,
                         "VEK remoting: Transport does not support SendReceiveWithFiles.");
            return result::kNotSupported;
        }
        result = packet.SetFileHandles(request.handles());
        if (Failed(result)) {
            trace::Write(config_.tracer, level::kError,
                         "VEK remoting: cannot place handles in out packet");
            return result;
        }
        result = transport->SendReceiveWithFiles(packet, reply.packet);
    }
    if (result == result::kNotReady) return result::kRemoteCallFailed;
    // A peer that has too much to do has not looked at it.
    reply.delivered = result != result::kInsufficientResources;
    return result;
}

// Never 0, which stands for "no call".
std::uint32_t Connection::NextCallId() noexcept {
    std::uint32_t id;
    do {
        id = static_cast<std::uint32_t>(++*request_numbers_);
    } while (id == 0);
    return id;
}

Reply::~Reply() {
    if (connection != nullptr) static_cast<void>(connection->ReleaseStubs(released));
}

result_t Connection::ReleaseStubs(const ReleasedList& released) noexcept {
    if (released.size() > StubRegistry::kMaxStubs) return result::kInvalidSize;
    std::size_t unknown = 0;
    released.ForEach([&](stub_handle_t handle) {
        if (!registry_->ReleaseStub(handle)) ++unknown;
    });
    if (unknown != 0) {
        trace::Write(config_.tracer, level::kError,
                     "VEK remoting: the peer released handles that are no stub's: ", unknown);
    }
    return result::kOk;
}

void Connection::ReleaseProxy(stub_handle_t handle) noexcept {
    if (!registry_->MayReleaseProxy(handle) || !open_) return;
    ++change_count_;
    ServingFrame* const frame = ServingFrame::Current(*this);
    if (frame == nullptr || !frame->Release(handle)) ReleaseLater({&handle, 1});
}

void Connection::ReleaseLater(std::span<const stub_handle_t> handles) noexcept {
    if (handles.empty() || !open_) return;
    try {
        const std::lock_guard guard(lock_);
        released_.insert(released_.end(), handles.begin(), handles.end());
    } catch (const std::bad_alloc&) {
        trace::WriteCurrentException(config_.tracer);
    }
}

released_t Connection::TakeReleased() noexcept {
    const std::lock_guard guard(lock_);
    return std::exchange(released_, {});
}

}  // namespace vek::remoting
