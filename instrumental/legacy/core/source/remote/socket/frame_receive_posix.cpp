#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "remote/socket/frame_posix.h"
#include "remote/transport.h"

namespace remote {
namespace {

using vek::platform::Descriptor;

// Read together with the head.
constexpr std::size_t kFirstRead = sizeof(PacketRoom) - sizeof(FrameHead);

// A length that the peer claims is believed up to this size before the bytes are there.
constexpr std::size_t kFirstCapacity = kUnclaimedSize;

// The bytes of a body as they come.
class Body {
public:
    ~Body() { std::free(bytes_); }
    Body() = default;
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;

    bool Reserve(std::size_t capacity) noexcept {
        void* const grown = std::realloc(bytes_, std::max<std::size_t>(capacity, 1));
        if (grown == nullptr) return false;
        bytes_ = static_cast<std::byte*>(grown);
        capacity_ = capacity;
        return true;
    }

    std::byte* data() const noexcept { return bytes_; }
    std::size_t capacity() const noexcept { return capacity_; }

    PacketBuffer Take(std::size_t size) noexcept {
        return PacketBuffer(std::exchange(bytes_, nullptr), size);
    }

private:
    std::byte* bytes_ = nullptr;
    std::size_t capacity_ = 0;
};

// False when some were lost or there is no memory for them; those that arrived are owned anyway.
bool TakeDescriptors(const msghdr& message, std::vector<Descriptor>& descriptors) noexcept {
    bool whole = (message.msg_flags & MSG_CTRUNC) == 0;
    auto* const first = const_cast<msghdr*>(&message);
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(first, part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) continue;
        const std::size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t i = 0; i < count; ++i) {
            int value;
            std::memcpy(&value, CMSG_DATA(part) + i * sizeof value, sizeof value);
            Descriptor owned(value);
            try {
                descriptors.push_back(std::move(owned));
            } catch (const std::bad_alloc&) {
                whole = false;
            }
        }
    }
    return whole;
}

// As recv, over interruptions.
ssize_t Receive(int socket, void* bytes, std::size_t size) noexcept {
    ssize_t received;
    do {
        received = ::recv(socket, bytes, size, MSG_WAITALL);
    } while (received < 0 && errno == EINTR);
    return received;
}

// Reads the rest of something of which `have` bytes are there.
bool Complete(int socket, std::byte* bytes, std::size_t have, std::size_t size) noexcept {
    while (have < size) {
        const ssize_t received = Receive(socket, bytes + have, size - have);
        if (received <= 0) return false;
        have += static_cast<std::size_t>(received);
    }
    return true;
}

Receiving ReceiveRest(int socket, Body& body, std::size_t have, std::size_t size,
                      ByteClaim& claim) noexcept {
    for (;;) {
        const std::size_t capacity = body.capacity();
        if (!Complete(socket, body.data(), have, capacity)) return Receiving::kLost;
        if (capacity == size) return Receiving::kFrame;
        have = capacity;
        const std::size_t larger = std::min(size, capacity * 2);
        if (!claim.Grow(larger)) return Receiving::kTooMuch;
        if (!body.Reserve(larger)) return Receiving::kNoMemory;
    }
}

// Most frames come whole with one call of the system, and their size is known only then.
std::size_t FirstReadSize(std::uint64_t limit) noexcept {
    return sizeof(FrameHead) + static_cast<std::size_t>(std::min<std::uint64_t>(kFirstRead, limit));
}

// Fills both, one after the other.
bool CompleteBoth(int socket, std::span<std::byte> first, std::span<std::byte> second) noexcept {
    while (!first.empty()) {
        std::array<iovec, 2> parts{{{first.data(), first.size()}, {second.data(), second.size()}}};
        msghdr message{};
        message.msg_iov = parts.data();
        message.msg_iovlen = parts.size();
        const ssize_t received = ::recvmsg(socket, &message, MSG_WAITALL);
        if (received < 0 && errno == EINTR) continue;
        if (received <= 0) return false;
        const auto count = static_cast<std::size_t>(received);
        const std::size_t of_first = std::min(count, first.size());
        first = first.subspan(of_first);
        second = second.subspan(count - of_first);
    }
    return Complete(socket, second.data(), 0, second.size());
}

// A reply of which a part goes elsewhere.
struct Split {
    std::size_t at = 0;  // in the packet
    std::span<std::byte> storage;

    // Asks for what goes elsewhere of the packet of `size` bytes that begins so. A packet whose
    // rest would have to be claimed is not split.
    static Split Of(bytes_t packet, std::size_t size, Landing& landing) noexcept {
        UsualHead head;
        if (!head.Read(packet) || head.data_size != rpc_block_info::AllRemainingData) {
            return {};
        }
        std::size_t offset = 0;
        const auto storage = landing.Find(packet.subspan(sizeof head), size - sizeof head, offset);
        const std::size_t at = sizeof head + offset;
        if (at > packet.size() || storage.size() > size - at ||
            size - storage.size() > kFirstCapacity) {
            return {};
        }
        return {at, storage};
    }
};

// `packet` is what is there of one of `size` bytes.
Receiving ReceiveSplit(int socket, bytes_t packet, std::size_t size, const Split& split,
                       Frame& frame) noexcept {
    frame.body = PacketBuffer::Allocate(size - split.storage.size());
    if (!frame.body) return Receiving::kNoMemory;
    const bytes_t behind = packet.subspan(split.at);
    const auto landed = behind.first(std::min(behind.size(), split.storage.size()));
    const auto tail = behind.subspan(landed.size());
    std::memcpy(frame.body.data(), packet.data(), split.at);
    if (!landed.empty()) std::memcpy(split.storage.data(), landed.data(), landed.size());
    if (!tail.empty()) std::memcpy(frame.body.data() + split.at, tail.data(), tail.size());
    return CompleteBoth(socket, split.storage.subspan(landed.size()),
                        frame.body.span().subspan(split.at + tail.size()))
               ? Receiving::kFrame
               : Receiving::kLost;
}

Receiving AtEnd(ssize_t received) noexcept {
    return received == 0 || errno == ECONNRESET ? Receiving::kEnded : Receiving::kLost;
}

// Reads the rest of a frame that has begun.
Receiving Finish(int socket, std::uint64_t limit, PacketRoom& first, ssize_t received, Frame& frame,
                 Landing* landing = nullptr) noexcept {
    std::size_t have = static_cast<std::size_t>(received);
    if (have < sizeof(FrameHead)) {
        if (!Complete(socket, first.bytes, have, sizeof(FrameHead))) return Receiving::kLost;
        have = sizeof(FrameHead);
    }
    have -= sizeof(FrameHead);
    FrameHead head;
    std::memcpy(&head, first.bytes, sizeof head);
    // On a channel the peer waits for an answer to each frame, so nothing can have come behind it.
    if (head.size > limit || have > head.size || head.zero != 0) return Receiving::kMalformed;
    frame.kind = head.kind;
    if (landing != nullptr && have < head.size && head.kind == FrameKind::kReply) {
        const bytes_t packet(first.bytes + sizeof head, have);
        if (const Split split = Split::Of(packet, head.size, *landing); !split.storage.empty()) {
            const Receiving whole = ReceiveSplit(socket, packet, head.size, split, frame);
            if (whole == Receiving::kFrame) landing->Landed();
            return whole;
        }
    }
    Body body;
    if (!body.Reserve(std::min<std::size_t>(head.size, kFirstCapacity))) {
        return Receiving::kNoMemory;
    }
    std::memcpy(body.data(), first.bytes + sizeof head, have);
    if (have < head.size) {
        const Receiving rest = ReceiveRest(socket, body, have, head.size, frame.claim);
        if (rest != Receiving::kFrame) return rest;
    }
    frame.body = body.Take(head.size);
    return Receiving::kFrame;
}

ssize_t ReceiveFirst(int socket, std::uint64_t limit, PacketRoom& first) noexcept {
    ssize_t received;
    do {
        received = ::recv(socket, first.bytes, FirstReadSize(limit), 0);
    } while (received < 0 && errno == EINTR);
    return received;
}

}  // namespace

Receiving ReceiveFrame(int socket, std::uint64_t limit, Frame& frame) noexcept {
    PacketRoom first;
    const ssize_t received = ReceiveFirst(socket, limit, first);
    return received > 0 ? Finish(socket, limit, first, received, frame) : AtEnd(received);
}

Receiving ReceiveFrameWithDescriptors(int socket, std::uint64_t limit, Frame& frame) noexcept {
    PacketRoom first;
    iovec part{first.bytes, FirstReadSize(limit)};
    alignas(cmsghdr) std::byte control[kControlSize];
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    ssize_t received;
    do {
        received = ::recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
    } while (received < 0 && errno == EINTR);
    if (received <= 0) return AtEnd(received);
    if (!TakeDescriptors(message, frame.descriptors)) return Receiving::kMalformed;
    return Finish(socket, limit, first, received, frame);
}

Receiving ReceiveOnChannel(int socket, PacketRoom& room, Frame& frame, Landing* landing) noexcept {
    const ssize_t count = ReceiveFirst(socket, kMaxPacketSize, room);
    if (count <= 0) return AtEnd(count);
    const bytes_t received(room.bytes, static_cast<std::size_t>(count));
    FrameHead head;
    if (received.size() > sizeof head) {
        std::memcpy(&head, received.data(), sizeof head);
        if (head.size == received.size() - sizeof head && head.zero == 0 &&
            head.kind != FrameKind::kDescriptors) {
            frame.kind = head.kind;
            frame.in_room = received.subspan(sizeof head);
            return Receiving::kFrame;
        }
    }
    const Receiving whole = Finish(socket, kMaxPacketSize, room, count, frame, landing);
    if (whole != Receiving::kFrame || frame.kind != FrameKind::kDescriptors) return whole;
    if (SendVerdict(socket, FrameKind::kWelcome, vek::result::kOk) != Sending::kSent) {
        return Receiving::kLost;
    }
    return ReceiveFrameWithDescriptors(socket, kMaxPacketSize, frame);
}

bool ReadVerdict(const Frame& frame, vek::result_t& verdict) noexcept {
    Verdict said;
    const bytes_t body = frame.in_room.data() != nullptr ? frame.in_room : frame.body.span();
    if (body.size() != sizeof said || !frame.descriptors.empty()) return false;
    std::memcpy(&said, body.data(), sizeof said);
    verdict = said.result;
    return said.signature == kVerdictSignature;
}

}  // namespace remote
