#include "remote/rpc/connection_win32.h"

#include <chrono>
#include <cstdlib>
#include <thread>
#include <utility>

#include "remote/rpc/handle_transfer_win32.h"
#include "rpc_transport.h"
#include "vek/core/border.h"
#include "vek/platform/system.h"

namespace remote {
namespace {

namespace result = vek::result;

// How long a peer is waited for that is to hear of the end.
constexpr std::chrono::seconds kFarewell{3};

// Between two attempts to cancel calls.
constexpr std::chrono::milliseconds kCancelPause{10};

void CALLBACK OnProcessEnded(void* token, BOOLEAN) {
    const auto connection = RpcServer::Get().ConnectionOf(reinterpret_cast<std::uint64_t>(token));
    if (connection) connection->Lose("the peer has gone");
}

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
    return Win32HandleTransfer(peer->duplicator());
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

std::shared_ptr<RpcConnection> RpcConnection::Create(const TransportConfig& config) {
    auto connection = std::make_shared<RpcConnection>(config);
    connection->token_ = RpcServer::Get().AddConnection(connection);
    return connection;
}

RpcConnection::~RpcConnection() {
    RpcServer::Get().RemoveConnection(token_);
    if (link_ != nullptr) {
        Guarded([this] { ::RpcSsDestroyClientContext(&link_); });
    }
}

void RpcConnection::SetPeer(RpcBinding binding, std::uint64_t token, std::uint32_t process_id) {
    binding_ = std::move(binding);
    peer_token_ = token;
    set_peer_process_id(process_id);
    peer_.emplace(process_id);
    peer_->Watch(OnProcessEnded, token_);
}

void RpcConnection::OnEnded(Ending ending) noexcept {
    RpcServer::Get().RemoveConnection(token_);
    const bool waits = waiting_.Cancel();
    const bool tells = ending == Ending::kClosed && binding_.get() != nullptr;
    if (!waits && !tells) return;
    // Neither is to keep the caller waiting. Without a thread the peer finds out with its next
    // call.
    static_cast<void>(vek::AtBorder([&] {
        vek::platform::TheSystem().StartThread(
            [self = shared_from_this(), tells] { self->FinishEnd(tells); });
    }));
}

void RpcConnection::FinishEnd(bool tell_peer) noexcept {
    while (waiting_.Cancel()) std::this_thread::sleep_for(kCancelPause);
    if (!tell_peer) return;
    const CallTimeout timeout(kFarewell);
    Guarded([this] { ::CallDisconnect(binding_.get(), peer_token_); });
}

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
    return ReadReply(request, std::move(received), transfer, reply);
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
    if (!IsOpen()) return result::kNotReady;  // and there may be no peer_
    ByteClaim claim(&budget());
    const auto parse = [&](RpcProtocolProcessorIn& request) {
        if (packet.size() > kUnclaimedSize && !claim.Grow(packet.size())) {
            Lose("the peer has too much in this process");
            return result::kInsufficientResources;
        }
        return request.ParsePacket(packet);
    };
    Win32HandleTransfer transfer = TransferTo(peer_);
    CallReply sender(*this, transfer, reply);
    const Nested nested(depth + 1);
    const vek::result_t refusal = HandleRequest(depth >= kMaxDepth, parse, transfer, sender);
    if (vek::Failed(refusal)) return refusal;
    if (reply.data() != nullptr) return result::kOk;
    return IsOpen() ? sender.failure() : result::kRemoteCallFailed;
}

}  // namespace remote
