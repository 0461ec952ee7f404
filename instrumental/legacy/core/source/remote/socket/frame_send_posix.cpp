#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <vector>

#include "remote/socket/frame_posix.h"
#include "remote/transport.h"

namespace remote {
namespace {

namespace result = vek::result;

// Room for the head of a packet without handles; it has 24 bytes.
constexpr std::size_t kUsualHead = 64;

// A packet that is shorter is not worth gathering.
constexpr std::size_t kShort = 512;

// More pieces than this go in several calls.
constexpr std::size_t kGathered = 16;

bytes_t BytesOf(const auto& value) noexcept { return std::as_bytes(std::span(&value, 1)); }

// The head of a frame, the head of its body and its pieces, seen as one list.
class Pieces {
public:
    Pieces(bytes_t frame_head, bytes_t head, std::span<const bytes_t> rest) noexcept
        : first_{frame_head, head}, rest_(rest) {}

    // The next ones to be sent; 0 when all have been.
    std::size_t Gather(std::array<iovec, kGathered>& parts) noexcept {
        std::size_t count = 0;
        std::size_t offset = offset_;
        for (std::size_t i = index_; i < size() && count < parts.size(); ++i) {
            const bytes_t piece = at(i).subspan(offset);
            offset = 0;
            if (piece.empty()) continue;
            parts[count++] = {const_cast<std::byte*>(piece.data()), piece.size()};
        }
        return count;
    }

    void Advance(std::size_t sent) noexcept {
        while (index_ < size()) {
            const std::size_t left = at(index_).size() - offset_;
            if (sent < left) break;
            sent -= left;
            offset_ = 0;
            ++index_;
        }
        offset_ += sent;
    }

private:
    std::size_t size() const noexcept { return first_.size() + rest_.size(); }
    bytes_t at(std::size_t i) const noexcept {
        return i < first_.size() ? first_[i] : rest_[i - first_.size()];
    }

    const std::array<bytes_t, 2> first_;
    const std::span<const bytes_t> rest_;
    std::size_t index_ = 0;
    std::size_t offset_ = 0;
};

void Attach(msghdr& message, std::span<std::byte> control,
            std::span<const int> descriptors) noexcept {
    message.msg_control = control.data();
    message.msg_controllen = CMSG_SPACE(descriptors.size_bytes());
    cmsghdr* const part = CMSG_FIRSTHDR(&message);
    part->cmsg_level = SOL_SOCKET;
    part->cmsg_type = SCM_RIGHTS;
    part->cmsg_len = CMSG_LEN(descriptors.size_bytes());
    std::memcpy(CMSG_DATA(part), descriptors.data(), descriptors.size_bytes());
}

ssize_t Send(int socket, const msghdr& message, int flags) noexcept {
    ssize_t sent;
    do {
        sent = ::sendmsg(socket, &message, MSG_NOSIGNAL | flags);
    } while (sent < 0 && errno == EINTR);
    return sent;
}

bool IsLoss(int error) noexcept {
    return error == EPIPE || error == ECONNRESET || error == ENOTCONN;
}

Sending SendPieces(int flags, int socket, Pieces left, std::span<const int> descriptors) noexcept {
    std::array<iovec, kGathered> parts;
    alignas(cmsghdr) std::byte control[kControlSize];
    msghdr message{};
    message.msg_iov = parts.data();
    if (!descriptors.empty()) {
        std::memset(control, 0, CMSG_SPACE(descriptors.size_bytes()));
        Attach(message, control, descriptors);
    }
    bool begun = false;
    while ((message.msg_iovlen = left.Gather(parts)) != 0) {
        const ssize_t sent = Send(socket, message, flags);
        if (sent < 0) return begun || IsLoss(errno) ? Sending::kLost : Sending::kNotBegun;
        left.Advance(static_cast<std::size_t>(sent));
        begun = true;
        // The descriptors went with the first bytes.
        message.msg_control = nullptr;
        message.msg_controllen = 0;
    }
    return Sending::kSent;
}

Sending SendWith(int flags, int socket, FrameKind kind, bytes_t head,
                 std::span<const bytes_t> pieces, std::span<const int> descriptors) noexcept {
    std::uint64_t size = head.size();
    for (const bytes_t piece : pieces) size += piece.size();
    if (size > UINT32_MAX || descriptors.size() > kMaxDescriptors) return Sending::kNotBegun;

    const FrameHead frame_head{static_cast<std::uint32_t>(size), kind, 0};
    return SendPieces(flags, socket, Pieces(BytesOf(frame_head), head, pieces), descriptors);
}

// All of a frame that lies in one place.
Sending SendWhole(int socket, bytes_t frame) noexcept {
    bytes_t left = frame;
    while (!left.empty()) {
        const ssize_t sent = ::send(socket, left.data(), left.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 0) {
            const bool begun = left.size() < frame.size();
            return begun || IsLoss(errno) ? Sending::kLost : Sending::kNotBegun;
        }
        left = left.subspan(static_cast<std::size_t>(sent));
    }
    return Sending::kSent;
}

Sending SendShort(int socket, FrameKind kind, RpcProtocolProcessorOut& packet, std::size_t size,
                  vek::result_t& failure) noexcept {
    std::array<std::byte, kFrameHeadSize + kShort> room;
    const auto frame = std::span(room).first(kFrameHeadSize + size);
    failure = packet.ConstructPacket(frame.subspan(kFrameHeadSize));
    if (vek::Failed(failure)) return Sending::kNotBegun;
    failure = result::kInsufficientResources;
    return SendFrame(socket, kind, frame);
}

// The heads go into the packet's own room, and with its first piece.
Sending SendWithRoom(int socket, FrameKind kind, RpcProtocolProcessorOut& packet, std::size_t size,
                     vek::result_t& failure) noexcept {
    const auto heads = packet.room().last(kRoomForHeads);
    const FrameHead frame_head{static_cast<std::uint32_t>(size), kind, 0};
    std::memcpy(heads.data(), &frame_head, sizeof frame_head);
    failure = packet.ConstructHead(heads.subspan(sizeof frame_head));
    if (vek::Failed(failure)) return Sending::kNotBegun;
    failure = result::kInsufficientResources;
    const auto pieces = packet.call_data();
    const std::span<std::byte> first(heads.data(), heads.size() + pieces.front().size());
    if (pieces.size() == 1) return SendWhole(socket, first);
    return SendPieces(0, socket, Pieces(first, {}, pieces.subspan(1)), {});
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

Sending SendFrame(int socket, FrameKind kind, std::span<std::byte> frame) noexcept {
    const FrameHead head{static_cast<std::uint32_t>(frame.size() - sizeof(FrameHead)), kind, 0};
    std::memcpy(frame.data(), &head, sizeof head);
    return SendWhole(socket, frame);
}

Sending SendFrame(int socket, FrameKind kind, bytes_t head, std::span<const bytes_t> pieces,
                  std::span<const int> descriptors) noexcept {
    return SendWith(0, socket, kind, head, pieces, descriptors);
}

Sending SendPacket(int socket, FrameKind kind, RpcProtocolProcessorOut& packet,
                   vek::result_t& failure) noexcept {
    const std::uint64_t whole = packet.PacketSize();
    if (packet.room().size() >= kRoomForHeads && !packet.has_file_handles() &&
        packet.HeadSize() == sizeof(UsualHead) && whole <= kMaxPacketSize) {
        return SendWithRoom(socket, kind, packet, static_cast<std::size_t>(whole), failure);
    }
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

Sending SendVerdict(int socket, FrameKind kind, vek::result_t verdict) noexcept {
    const Verdict said{kVerdictSignature, verdict};
    return SendWith(MSG_DONTWAIT, socket, kind, BytesOf(said), {}, {});
}

}  // namespace remote
