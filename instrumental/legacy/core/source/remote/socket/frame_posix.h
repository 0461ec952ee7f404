#pragma once

// The frames that travel on a socket between two processes:
//
//     size (u32): of what follows the head
//     kind (u16)
//     zero (u16)
//     a packet for a request and a reply, a verdict for a welcome and for no reply, else nothing
//
// Both ends are on one machine and share its byte order.

#include <sys/socket.h>

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "remote/byte_budget.h"
#include "remote/packet/packet_buffer.h"
#include "remote/packet/rpc_protocol_processor_in.h"
#include "remote/packet/rpc_protocol_processor_out.h"
#include "vek/core/result.h"
#include "vek/platform/descriptor_posix.h"

namespace remote {

enum class FrameKind : std::uint16_t {
    kWelcome = 1,     // to whoever has connected, and on a new channel: whether it is served
    kNewChannel = 2,  // on the control socket, with the descriptor of the channel
    kRequest = 3,
    kReply = 4,
    kNoReply = 5,      // instead of a reply
    kDescriptors = 6,  // the next frame brings descriptors, and is sent when a welcome has come
};

struct FrameHead {
    std::uint32_t size;
    FrameKind kind;
    std::uint16_t zero;
};
inline constexpr std::size_t kFrameHeadSize = 8;
static_assert(sizeof(FrameHead) == kFrameHeadSize);

// Tells a peer that speaks this from another by its first bytes.
inline constexpr std::uint32_t kVerdictSignature = 0x314C4D56;

// The body of a frame that says a result.
struct Verdict {
    std::uint32_t signature;
    vek::result_t result;
};
inline constexpr std::uint64_t kVerdictSize = 8;
static_assert(sizeof(Verdict) == kVerdictSize);

// The kernel takes no more descriptors with one message (SCM_MAX_FD of its net/scm.h).
inline constexpr std::size_t kMaxDescriptors = 253;
inline constexpr std::size_t kControlSize = CMSG_SPACE(sizeof(int) * kMaxDescriptors);

// A frame that has been received.
struct Frame {
    Frame() noexcept = default;
    // The frame's bytes count against `budget` for as long as it exists.
    explicit Frame(ByteBudget& budget) noexcept : claim(&budget) {}

    // Has `packet` read the packet that came: in place, when it is short.
    vek::result_t ParseBy(RpcProtocolProcessorIn& packet) noexcept {
        return in_room.data() != nullptr ? packet.ParseInPlace(in_room)
                                         : packet.ParsePacket(std::move(body));
    }

    FrameKind kind{};
    PacketBuffer body;
    bytes_t in_room;  // the body, when it is not in `body`
    std::vector<vek::platform::Descriptor> descriptors;
    ByteClaim claim;
};

enum class Sending {
    kSent,
    kNotBegun,  // nothing was sent: this process lacks resources, the socket is as it was
    kLost,      // the frame did not get through whole, and nothing can follow it
};

// Sends one frame whose body is `head` and then `pieces`. The descriptors stay the caller's.
Sending SendFrame(int socket, FrameKind kind, bytes_t head, std::span<const bytes_t> pieces = {},
                  std::span<const int> descriptors = {}) noexcept;

// Sends one whose body is in `frame` already, behind room for the head: for short ones, which cost
// less so than gathered.
Sending SendFrame(int socket, FrameKind kind, std::span<std::byte> frame) noexcept;

// Sends `packet` and the descriptors that it has. `failure` says why when it was not begun:
// kInvalidSize, kInsufficientResources or kOutOfMemory.
Sending SendPacket(int socket, FrameKind kind, RpcProtocolProcessorOut& packet,
                   vek::result_t& failure) noexcept;

// Sends a verdict: whether a process or a channel is taken in, or why there is no reply. Does not
// wait: there is room for it, unless the peer keeps none.
Sending SendVerdict(int socket, FrameKind kind, vek::result_t verdict) noexcept;

enum class Receiving {
    kFrame,
    kEnded,  // the peer closed the socket, or it was shut down, between two frames
    kLost,   // the same in the middle of a frame, or waiting failed or took too long
    kMalformed,
    kNoMemory,
    kTooMuch,  // the budget does not allow it
};

// Waits for one frame without descriptors whose body is at most `limit` bytes, and reads no more
// than that. A body takes memory as it arrives: at most about twice that much. After anything but
// kFrame the socket is of no more use.
Receiving ReceiveFrame(int socket, std::uint64_t limit, Frame& frame) noexcept;

// The same for one that may have descriptors, which costs the system more.
Receiving ReceiveFrameWithDescriptors(int socket, std::uint64_t limit, Frame& frame) noexcept;

// Waits for the next frame on a channel, with the descriptors that it announces. The body of a
// short one is in `room`. A reply may have a part that goes elsewhere: the body is without it then.
Receiving ReceiveOnChannel(int socket, PacketRoom& room, Frame& frame,
                           Landing* landing = nullptr) noexcept;

// The result that a frame of SendVerdict says. False when its content is something else.
bool ReadVerdict(const Frame& frame, vek::result_t& verdict) noexcept;

}  // namespace remote
