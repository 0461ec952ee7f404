#include "remote/rpc/connection_win32.h"

#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

#include "remote/establish.h"
#include "remote/packet/packet_io.h"
#include "remote/rpc/handle_transfer_win32.h"
#include "vek/core/border.h"
#include "vek/platform/system.h"
#include "vek/platform/thread_value.h"

namespace remote {
namespace {

namespace result = vek::result;

// How long a peer is waited for that is to hear of the end.
constexpr std::chrono::seconds kFarewell{3};

// Between two attempts to cancel calls.
constexpr std::chrono::milliseconds kCancelPause{10};
constexpr std::chrono::milliseconds kCancelPatience{10000};

// Not here, where the connection may end with its last user: its end waits for this call.
void CALLBACK OnProcessEnded(void* token, BOOLEAN) {
    static_cast<void>(vek::AtBorder([number = reinterpret_cast<std::uint64_t>(token)] {
        vek::platform::StartCountedThread(vek::platform::TheSystem(), [number] {
            if (const auto connection = RpcServer::Get().ConnectionOf(number))
                connection->Lose("the peer has gone");
        });
    }));
}

// A call within a call comes on another thread than the one that waits: the peers count for each
// other. Of each of them kMaxNesting.
constexpr std::uint32_t kMaxDepth = 2 * kMaxNesting;

// Of the request that this thread serves.
vek::platform::ThreadValue<std::uint32_t> current_depth;

class Nested {
public:
    explicit Nested(std::uint32_t depth) noexcept : outer_(current_depth.Exchange(depth)) {}
    ~Nested() { current_depth.Set(outer_); }
    Nested(const Nested&) = delete;
    Nested& operator=(const Nested&) = delete;

private:
    const std::uint32_t outer_;
};

Win32HandleTransfer TransferTo(const std::optional<PeerProcess>& peer) noexcept {
    return Win32HandleTransfer(peer->duplicator());
}

vek::result_t Construct(RpcProtocolProcessorOut& packet, HandleTransfer& transfer,
                        std::span<std::byte> room) noexcept {
    return packet.ConstructPacket(room, packet.has_file_handles() ? &transfer : nullptr);
}

// Writes the reply into its call.
class CallReply final : public ReplySender {
public:
    CallReply(const RpcConnection& connection, HandleTransfer& transfer, ServedCall& call) noexcept
        : connection_(connection), transfer_(transfer), call_(call) {}

    vek::result_t Send(RpcProtocolProcessorOut& reply) noexcept override {
        if (call_.reply() != nullptr) return result::kUnexpected;
        if (!connection_.IsOpen()) return outcome_ = result::kRemoteCallFailed;
        if (reply.has_file_handles() && !connection_.SupportsFiles()) {
            return outcome_ = result::kNotSupported;
        }
        return outcome_ = Write(reply);
    }

    // kOk when the reply is there.
    vek::result_t outcome() const noexcept { return outcome_; }

private:
    vek::result_t Write(RpcProtocolProcessorOut& reply) noexcept {
        if (reply.PacketSize() > kMaxPacketSize) return result::kInvalidSize;
        const auto size = static_cast<std::uint32_t>(reply.PacketSize());
        const std::size_t whole = wire::PacketReplySize(size);
        std::byte* const room = call_.Reply(whole);
        if (room == nullptr) return result::kOutOfMemory;
        // What is not written would be the peer's to read.
        std::memset(room + whole - 8, 0, 8);
        wire::Write(room, wire::SendReceiveReply{size, 1, size});
        // Nothing follows by which it would be known that the peer has duplicated what was pushed:
        // it fetches.
        const bool pushes = connection_.handles() == HandlePolicy::kAdopt;
        return reply.ConstructPacket({room + wire::kSize<wire::SendReceiveReply>, size},
                                     pushes ? &transfer_ : nullptr);
    }

    const RpcConnection& connection_;
    HandleTransfer& transfer_;
    ServedCall& call_;
    vek::result_t outcome_ = result::kUnexpected;
};

}  // namespace

// What has come of a request of several parts.
struct RpcConnection::Parts {
    explicit Parts(ByteBudget& budget) noexcept : claim(&budget) {}

    ByteClaim claim;
    std::vector<std::byte> bytes;
};

void* TakeLink(RPC_BINDING_HANDLE binding, wire::link_bytes_t link) noexcept {
    NDR_CCONTEXT context = nullptr;
    Guarded([&] {
        ::NDRCContextUnmarshall(&context, binding, link.data(), NDR_LOCAL_DATA_REPRESENTATION);
    });
    return context;
}

std::shared_ptr<RpcConnection> RpcConnection::Create(const TransportConfig& config) {
    auto connection = std::make_shared<RpcConnection>(config);
    connection->token_ = RpcServer::Get().AddConnection(connection);
    return connection;
}

RpcConnection::RpcConnection(const TransportConfig& config)
    : PeerConnection(config), use_(config), wanted_(config) {}

RpcConnection::~RpcConnection() {
    RpcServer::Get().RemoveConnection(token_);
    if (link_ != nullptr) {
        Guarded([this] { ::RpcSsDestroyClientContext(&link_); });
    }
}

void RpcConnection::SetPeer(RpcBinding binding, std::uint64_t token) {
    binding_ = std::move(binding);
    peer_token_ = token;
}

void RpcConnection::SetIdentity(const PeerIdentity& peer) {
    peer_.emplace(peer.process_id, handles() != HandlePolicy::kRefuse);
    peer_->Watch(OnProcessEnded, token_);
    set_peer(peer);
}

bool RpcConnection::Confirm(const PeerIdentity& server) {
    const std::lock_guard guard(confirm_lock_);
    if (IsConfirmed()) return false;
    if (!IsPeerAllowed(server, wanted_)) {
        RefusePeer(server.process_id, "it is not the one to connect to", wanted_);
        return false;
    }
    SetIdentity(server);
    return true;
}

void RpcConnection::OnEnded(Ending ending) noexcept {
    RpcServer::Get().RemoveConnection(token_);
    const bool waits = waiting_.Cancel();
    const bool tells = ending == Ending::kClosed && binding_.get() != nullptr;
    if (!waits && !tells) return;
    // Neither is to keep the caller waiting. Without a thread the peer finds out with its next
    // call.
    static_cast<void>(vek::AtBorder([&] {
        vek::platform::StartCountedThread(
            vek::platform::TheSystem(),
            [self = shared_from_this(), tells] { self->FinishEnd(tells); });
    }));
}

void RpcConnection::FinishEnd(bool tell_peer) noexcept {
    // One that was ended by force within its call stays among them.
    for (auto left = kCancelPatience; waiting_.Cancel() && left.count() > 0; left -= kCancelPause)
        std::this_thread::sleep_for(kCancelPause);
    if (!tell_peer) return;
    const CallTimeout timeout(kFarewell);
    wire::VerdictReply reply{};
    CallPeer(binding_.get(), Operation::kDisconnect, wire::DisconnectRequest{peer_token_}, reply);
}

vek::result_t RpcConnection::Call(RpcProtocolProcessorOut& request, RpcProtocolProcessorIn& reply) {
    if (!IsOpen()) return result::kNotReady;
    if (request.PacketSize() > kMaxPacketSize) return result::kInvalidSize;
    Win32HandleTransfer transfer = TransferTo(peer_);
    PacketBuffer received;
    const vek::result_t code = Exchange(request, transfer, received);
    if (handles() == HandlePolicy::kDuplicate) request.CloseTransferred(transfer);
    if (vek::Failed(code)) return code;
    return ReadReply(request, std::move(received), transfer, reply);
}

// What the call has come to; loses the peer where it is of no more use.
vek::result_t RpcConnection::CodeOf(const Outcome& outcome) {
    if (outcome.status != RPC_S_OK) {
        if (!IsOpen()) return result::kRemoteCallFailed;
        if (IsLoss(outcome.status)) Lose("a call failed");
        return ResultOf(outcome.status);
    }
    if (outcome.code != kUnknownToken) return outcome.code;
    Lose("the peer does not know the connection");
    return result::kNotReady;
}

// The outcome of a call whose request's last part was not sent.
RpcConnection::Outcome RpcConnection::BeforeItWasSent(const Outcome& outcome) noexcept {
    if (outcome.status == RPC_S_OUT_OF_MEMORY) return {RPC_S_OK, result::kInsufficientResources};
    return {outcome.status, NotCarriedOut(outcome.code)};
}

// Sends all but the last part of a long packet, and leaves that part.
RpcConnection::Outcome RpcConnection::SendParts(std::uint32_t number, bytes_t& packet) noexcept {
    constexpr std::uint32_t kSize = kMaxPartSize;
    constexpr std::size_t kHead = wire::kSize<wire::SendRequest>;
    for (; packet.size() > kSize; packet = packet.subspan(kSize)) {
        RawCall call;
        std::byte* const room = call.Prepare(binding_.get(), Operation::kSend, kHead + kSize);
        if (room == nullptr) return {call.status()};
        wire::Write(room, wire::SendRequest{peer_token_, number, kSize, kSize});
        std::memcpy(room + kHead, packet.data(), kSize);
        if (call.Perform() != RPC_S_OK) return {call.status()};
        const auto reply = wire::Read<wire::VerdictReply>(call.reply());
        if (!reply) return {RPC_X_BAD_STUB_DATA};
        if (vek::Failed(reply->verdict)) return {RPC_S_OK, reply->verdict};
    }
    return {};
}

// Sends the request, a long one in parts, and waits for the reply, which `call` holds.
RpcConnection::Outcome RpcConnection::Transmit(RpcProtocolProcessorOut& request,
                                               HandleTransfer& transfer, RawCall& call) {
    constexpr std::size_t kHead = wire::kSize<wire::SendReceiveRequest>;
    PacketBuffer packet;
    bytes_t last;
    std::uint32_t number = 0;
    auto size = static_cast<std::uint32_t>(request.PacketSize());
    if (size > kMaxPartSize) {
        packet = PacketBuffer::Allocate(size);
        if (!packet) return BeforeItWasSent({RPC_S_OK, result::kOutOfMemory});
        const auto code = Construct(request, transfer, packet.span());
        if (vek::Failed(code)) return BeforeItWasSent({RPC_S_OK, code});
        while (number == 0) number = ++last_number_;
        last = packet.span();
        const Outcome outcome = BeforeItWasSent(SendParts(number, last));
        if (outcome.status != RPC_S_OK || vek::Failed(outcome.code)) return outcome;
        size = static_cast<std::uint32_t>(last.size());
    }
    std::byte* const room = call.Prepare(binding_.get(), Operation::kSendReceive, kHead + size);
    if (room == nullptr) return BeforeItWasSent({call.status()});
    wire::Write(room,
                wire::SendReceiveRequest{peer_token_, current_depth.Get(), number, size, size});
    if (packet) {
        std::memcpy(room + kHead, last.data(), size);
    } else if (const auto code = Construct(request, transfer, {room + kHead, size});
               vek::Failed(code)) {
        return BeforeItWasSent({RPC_S_OK, code});
    }
    return {call.Perform()};
}

vek::result_t RpcConnection::Exchange(RpcProtocolProcessorOut& request, HandleTransfer& transfer,
                                      PacketBuffer& reply) {
    RawCall call;
    Outcome outcome;
    {
        const WaitingCalls::Wait wait(waiting_);
        if (!IsOpen()) return result::kNotReady;
        outcome = Transmit(request, transfer, call);
    }
    if (const auto code = CodeOf(outcome); vek::Failed(code)) return code;
    const auto received = wire::ReadPacketReply(call.reply());
    if (!received || received->packet.size() > kMaxPacketSize) {
        return Lose("a malformed reply came");
    }
    if (const auto code = CodeOf({RPC_S_OK, received->verdict}); vek::Failed(code)) return code;
    if (!received->has_packet) return result::kUnexpected;
    reply = PacketBuffer::Allocate(received->packet.size());
    if (!reply) return result::kOutOfMemory;
    CopyItem(reply.data(), received->packet.data(), received->packet.size());
    return result::kOk;
}

vek::result_t RpcConnection::TakePart(std::uint32_t number, bytes_t part) {
    AwaitOpening();
    if (!IsOpen()) return result::kNotReady;
    {
        const std::lock_guard guard(parts_lock_);
        std::shared_ptr<Parts>& parts = parts_[number];
        if (!parts) {
            if (number == 0 || parts_.size() > kMaxServedRequests) {
                parts_.erase(number);
                return result::kInsufficientResources;
            }
            parts = std::make_shared<Parts>(budget());
        }
        const std::size_t size = parts->bytes.size() + part.size();
        if (size <= kMaxPacketSize && (size <= kUnclaimedSize || parts->claim.Grow(size))) {
            parts->bytes.insert(parts->bytes.end(), part.begin(), part.end());
            return result::kOk;
        }
    }
    Lose("the peer has too much in this process");
    return result::kInsufficientResources;
}

vek::result_t RpcConnection::Serve(std::uint32_t depth, std::uint32_t number, bytes_t last,
                                   ServedCall& call) noexcept {
    AwaitOpening();
    if (!IsOpen()) return result::kNotReady;  // and there may be no peer_
    std::shared_ptr<Parts> parts;
    if (number != 0) {
        const auto code = vek::AtBorder([&] { return TakePart(number, last); });
        if (vek::Failed(code)) return NotCarriedOut(code);
        const std::lock_guard guard(parts_lock_);
        const auto found = parts_.find(number);
        if (found == parts_.end()) return result::kInvalidSize;
        parts = std::move(found->second);
        parts_.erase(found);
        last = parts->bytes;
    }
    const auto parse = [&](RpcProtocolProcessorIn& request) { return request.ParsePacket(last); };
    Win32HandleTransfer transfer = TransferTo(peer_);
    CallReply sender(*this, transfer, call);
    const Nested nested(depth + 1);
    const vek::result_t refusal = HandleRequest(depth >= kMaxDepth, parse, transfer, sender);
    if (vek::Failed(refusal)) return NotCarriedOut(refusal);
    return vek::Succeeded(sender.outcome()) || IsOpen() ? sender.outcome()
                                                        : result::kRemoteCallFailed;
}

}  // namespace remote
