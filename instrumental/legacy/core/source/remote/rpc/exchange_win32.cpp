// Requests of a connection, both ways.

#include <cstdlib>
#include <utility>

#include "remote/packet/handle_transfer_win32.h"
#include "remote/rpc/connection_win32.h"
#include "remote/scoped_count.h"
#include "rpc_transport.h"
#include "vek/trace/line.h"

namespace remote {
namespace {

namespace result = vek::result;
namespace trace = vek::trace;

// A call within a call comes on another thread than the one that waits: the peers count for each
// other. Of each of them kMaxNesting.
constexpr std::uint32_t kMaxDepth = 2 * kMaxNesting;

// Of the request that this thread serves.
thread_local std::uint32_t current_depth = 0;

class Nested {
public:
    explicit Nested(std::uint32_t depth) noexcept : outer_(std::exchange(current_depth, depth)) {}
    ~Nested() { current_depth = outer_; }
    Nested(const Nested&) = delete;
    Nested& operator=(const Nested&) = delete;

private:
    const std::uint32_t outer_;
};

Win32HandleTransfer TransferTo(const std::optional<PeerProcess>& peer) noexcept {
    return Win32HandleTransfer(reinterpret_cast<handle_t>(peer->duplicator()));
}

// Writes `packet` into memory of std::malloc.
vek::result_t Construct(RpcProtocolProcessorOut& packet, HandleTransfer& transfer,
                        std::span<std::byte>& bytes) noexcept {
    if (packet.PacketSize() > kMaxPacketSize) return result::kInvalidSize;
    const auto size = static_cast<std::size_t>(packet.PacketSize());
    auto* const memory = static_cast<std::byte*>(std::malloc(size));
    if (memory == nullptr) return result::kOutOfMemory;
    const auto code =
        packet.ConstructPacket({memory, size}, packet.has_file_handles() ? &transfer : nullptr);
    if (vek::Failed(code)) {
        std::free(memory);
    } else {
        bytes = {memory, size};
    }
    return code;
}

class CallReply final : public ReplySender {
public:
    CallReply(const RpcConnection& connection, HandleTransfer& transfer,
              std::span<std::byte>& reply) noexcept
        : connection_(connection), transfer_(transfer), reply_(reply) {}

    vek::result_t Send(RpcProtocolProcessorOut& reply) noexcept override {
        if (reply_.data() != nullptr) return result::kUnexpected;
        if (!connection_.IsOpen()) return failure_ = result::kRemoteCallFailed;
        return failure_ = Construct(reply, transfer_, reply_);
    }

    // Why there is no reply.
    vek::result_t failure() const noexcept { return failure_; }

private:
    const RpcConnection& connection_;
    HandleTransfer& transfer_;
    std::span<std::byte>& reply_;
    vek::result_t failure_ = result::kUnexpected;
};

}  // namespace

vek::result_t RpcConnection::Call(RpcProtocolProcessorOut& request, RpcProtocolProcessorIn& reply) {
    if (!IsOpen()) return result::kNotReady;
    Win32HandleTransfer transfer = TransferTo(peer_);
    std::span<std::byte> bytes;
    if (const auto code = Construct(request, transfer, bytes); vek::Failed(code)) return code;
    PacketBuffer received;
    if (const auto code = Exchange(PacketBuffer(bytes.data(), bytes.size()), received);
        vek::Failed(code)) {
        return code;
    }
    if (const auto code = reply.ParsePacket(std::move(received)); vek::Failed(code)) return code;
    if (request.call_id() != 0 && reply.has_call_identification() &&
        reply.call_id() != request.call_id()) {
        Lose("a reply to another request came");
        return result::kRemoteCallFailed;
    }
    return reply.PrepareHandles(transfer, adopt_handles_);
}

vek::result_t RpcConnection::Exchange(const PacketBuffer& request, PacketBuffer& reply) {
    LONG verdict = 0;
    unsigned long size = 0;
    byte* bytes = nullptr;
    RPC_STATUS status = RPC_S_OK;
    {
        const WaitingCalls::Wait wait(waiting_);
        if (!IsOpen()) return result::kNotReady;
        status = Guarded([&] {
            verdict =
                ::CallSendReceive(binding_.get(), peer_token_, current_depth,
                                  static_cast<unsigned long>(request.size()),
                                  reinterpret_cast<const byte*>(request.data()), &size, &bytes);
        });
    }
    if (status != RPC_S_OK) {
        if (!IsOpen()) return result::kRemoteCallFailed;
        if (IsLoss(status)) Lose("a call failed");
        return ResultOf(status);
    }
    reply = PacketBuffer(bytes, bytes != nullptr ? size : 0);
    if (reply.size() > kMaxPacketSize) {
        Lose("too long a reply came");
        return result::kRemoteCallFailed;
    }
    const auto code = static_cast<vek::result_t>(verdict);
    if (code == kUnknownToken) {
        Lose("the peer does not know the connection");
        return result::kNotReady;
    }
    if (vek::Failed(code)) return code;
    return bytes != nullptr ? result::kOk : result::kUnexpected;
}

vek::result_t RpcConnection::Serve(std::uint32_t depth, bytes_t packet,
                                   std::span<std::byte>& reply) noexcept {
    AwaitOpening();
    const ScopedCount served(served_);
    if (served.value() > kMaxServedRequests || depth >= kMaxDepth) {
        trace::Write(tracer_, trace::level::kRemoting, "rmt\tRequest of process ",
                     peer_process_id(), " is refused: it has too many");
        return result::kInsufficientResources;
    }
    ByteClaim claim(&budget_);
    if (packet.size() > kUnclaimedSize && !claim.Grow(packet.size())) {
        Lose("the peer has too much in this process");
        return result::kInsufficientResources;
    }
    const std::shared_ptr<RequestHandler> handler = IsOpen() ? handler_.lock() : nullptr;
    if (!handler) return result::kNotReady;
    RpcProtocolProcessorIn request(tracer_);
    if (const auto code = request.ParsePacket(packet); vek::Failed(code)) return code;
    Win32HandleTransfer transfer = TransferTo(peer_);
    if (const auto code = request.PrepareHandles(transfer, adopt_handles_); vek::Failed(code)) {
        return code;
    }
    CallReply sender(*this, transfer, reply);
    const Nested nested(depth + 1);
    handler->HandleRequest(request, sender);
    if (reply.data() != nullptr) return result::kOk;
    return IsOpen() ? sender.failure() : result::kRemoteCallFailed;
}

}  // namespace remote
