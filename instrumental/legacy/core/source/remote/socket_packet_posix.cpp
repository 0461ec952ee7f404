#include "remote/socket_packet_posix.h"

#include <array>
#include <new>
#include <vector>

#include "remote/handle_transfer_posix.h"
#include "remote/transport.h"

namespace remote {
namespace {

namespace result = vek::result;

// Room for the head of a packet without handles; it has 24 bytes.
constexpr std::size_t kUsualHead = 64;

Sending SendPrepared(int socket, FrameKind kind, RpcProtocolProcessorOut& packet,
                     std::span<std::byte> head, vek::result_t& failure) {
    std::vector<int> descriptors;
    for (const handle_t handle : packet.file_handles()) {
        descriptors.push_back(static_cast<int>(handle));
    }
    failure = packet.ConstructHead(head);
    if (vek::Failed(failure)) return Sending::kNotBegun;
    failure = result::kInsufficientResources;
    return SendFrame(socket, kind, head, packet.call_data(), descriptors);
}

}  // namespace

Sending SendPacket(int socket, FrameKind kind, RpcProtocolProcessorOut& packet,
                   vek::result_t& failure) noexcept {
    if (packet.PacketSize() > kMaxPacketSize) {
        failure = result::kInvalidSize;
        return Sending::kNotBegun;
    }
    const auto size = static_cast<std::size_t>(packet.HeadSize());
    try {
        std::array<std::byte, kUsualHead> usual;
        if (size <= usual.size()) {
            return SendPrepared(socket, kind, packet, std::span(usual).first(size), failure);
        }
        std::vector<std::byte> large(size);
        return SendPrepared(socket, kind, packet, large, failure);
    } catch (const std::bad_alloc&) {
        failure = result::kOutOfMemory;
        return Sending::kNotBegun;
    }
}

vek::result_t ReadPacket(Frame& frame, bool adopt_handles,
                         RpcProtocolProcessorIn& packet) noexcept {
    if (const auto code = packet.ParsePacket(std::move(frame.body)); vek::Failed(code)) return code;
    PosixHandleTransfer transfer(std::move(frame.descriptors));
    return packet.PrepareHandles(transfer, adopt_handles);
}

}  // namespace remote
