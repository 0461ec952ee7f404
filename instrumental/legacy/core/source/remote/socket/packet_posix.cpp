#include "remote/socket/packet_posix.h"

#include <array>
#include <new>
#include <vector>

#include "remote/packet/handle_transfer_posix.h"
#include "remote/socket/wire_posix.h"
#include "remote/transport.h"

namespace remote {
namespace {

namespace result = vek::result;

// Room for the head of a packet without handles; it has 24 bytes.
constexpr std::size_t kUsualHead = 64;

// A packet that is shorter is not worth gathering.
constexpr std::size_t kShort = 512;

Sending SendShort(int socket, FrameKind kind, RpcProtocolProcessorOut& packet, std::size_t size,
                  vek::result_t& failure) noexcept {
    std::array<std::byte, kFrameHeadSize + kShort> room;
    const auto frame = std::span(room).first(kFrameHeadSize + size);
    failure = packet.ConstructPacket(frame.subspan(kFrameHeadSize));
    if (vek::Failed(failure)) return Sending::kNotBegun;
    failure = result::kInsufficientResources;
    return SendFrame(socket, kind, frame);
}

// Tells the receiver that descriptors come, and waits until it is ready for them. The receiver is
// not to look for them with every frame.
bool Announce(int socket) noexcept {
    Frame frame;
    vek::result_t verdict = result::kUnexpected;
    return SendFrame(socket, FrameKind::kDescriptors, {}, {}, {}) == Sending::kSent &&
           ReceiveFrame(socket, kVerdictSize, frame) == Receiving::kFrame &&
           frame.kind == FrameKind::kWelcome && ReadVerdict(frame, verdict) &&
           vek::Succeeded(verdict);
}

Sending SendGathered(int socket, FrameKind kind, RpcProtocolProcessorOut& packet,
                     std::span<std::byte> head, vek::result_t& failure) {
    std::vector<int> descriptors;
    for (const handle_t handle : packet.file_handles()) {
        descriptors.push_back(static_cast<int>(handle));
    }
    failure = packet.ConstructHead(head);
    if (vek::Failed(failure)) return Sending::kNotBegun;
    failure = result::kInsufficientResources;
    if (descriptors.size() > kMaxDescriptors) return Sending::kNotBegun;
    if (!descriptors.empty() && !Announce(socket)) return Sending::kLost;
    return SendFrame(socket, kind, head, packet.call_data(), descriptors);
}

}  // namespace

Sending SendPacket(int socket, FrameKind kind, RpcProtocolProcessorOut& packet,
                   vek::result_t& failure) noexcept {
    const std::uint64_t whole = packet.PacketSize();
    if (whole <= kShort && !packet.has_file_handles()) {
        return SendShort(socket, kind, packet, static_cast<std::size_t>(whole), failure);
    }
    if (whole > kMaxPacketSize) {
        failure = result::kInvalidSize;
        return Sending::kNotBegun;
    }
    const auto size = static_cast<std::size_t>(packet.HeadSize());
    try {
        std::array<std::byte, kUsualHead> usual;
        if (size <= usual.size()) {
            return SendGathered(socket, kind, packet, std::span(usual).first(size), failure);
        }
        std::vector<std::byte> large(size);
        return SendGathered(socket, kind, packet, large, failure);
    } catch (const std::bad_alloc&) {
        failure = result::kOutOfMemory;
        return Sending::kNotBegun;
    }
}

Receiving ReceiveOnLane(int socket, Frame& frame) noexcept {
    const Receiving received = ReceiveFrame(socket, kMaxPacketSize, frame);
    if (received != Receiving::kFrame || frame.kind != FrameKind::kDescriptors) return received;
    if (SendVerdict(socket, FrameKind::kWelcome, result::kOk) != Sending::kSent) {
        return Receiving::kLost;
    }
    return ReceiveFrameWithDescriptors(socket, kMaxPacketSize, frame);
}

vek::result_t ReadPacket(Frame& frame, bool adopt_handles,
                         RpcProtocolProcessorIn& packet) noexcept {
    if (const auto code = packet.ParsePacket(std::move(frame.body)); vek::Failed(code)) return code;
    PosixHandleTransfer transfer(std::move(frame.descriptors));
    return packet.PrepareHandles(transfer, adopt_handles);
}

}  // namespace remote
