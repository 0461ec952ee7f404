#pragma once

// The bytes of the operations that rpc_transport.idl defines, in NDR as the definition gives it,
// for peers of the same byte order.

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>

#include "remote/packet/rpc_block.h"
#include "vek/core/result.h"

namespace remote {

// The most that a call carries of a packet, and the most that a call is.
inline constexpr std::size_t kMaxPartSize = 0xF000;
inline constexpr std::size_t kMaxCallSize = std::size_t{64} << 10;

namespace wire {

// A context handle.
using link_bytes_t = std::array<std::byte, 20>;

struct ConnectRequest {
    std::uint32_t local_id, tcp_port, caller_local_id, caller_tcp_port;
    std::uint64_t caller_token;
};
struct ConnectReply {
    std::uint64_t token;
    link_bytes_t link;
    vek::result_t verdict;
};
struct ConfirmRequest {
    std::uint64_t token;
    std::uint32_t process;
};
struct ConfirmReply {
    link_bytes_t link;
    vek::result_t verdict;
};

// Each is followed by `count` bytes.
struct SendRequest {
    std::uint64_t token;
    std::uint32_t number, size;
    std::uint32_t count;  // again
};
struct SendReceiveRequest {
    std::uint64_t token;
    std::uint32_t depth, number, size;
    std::uint32_t count;  // again
};
// By the verdict, too, which is at the next multiple of four.
struct SendReceiveReply {
    std::uint32_t size;
    std::uint32_t pointer;  // 0: neither count nor bytes follow
    std::uint32_t count;    // again
};
struct DisconnectRequest {
    std::uint64_t token;
};
struct VerdictReply {
    vek::result_t verdict;
};

// On the wire, without what a structure is filled up with at its end.
template <class Content>
inline constexpr std::size_t kSize = sizeof(Content);
template <>
inline constexpr std::size_t kSize<ConfirmRequest> = 12;
template <>
inline constexpr std::size_t kSize<SendRequest> = 20;

static_assert(kSize<ConnectRequest> == 24 && kSize<ConnectReply> == 32);
static_assert(kSize<ConfirmReply> == 24);
static_assert(kSize<SendReceiveRequest> == 24 && kSize<SendReceiveReply> == 12);
static_assert(kMaxPartSize + kSize<SendReceiveRequest> <= kMaxCallSize);

// Nothing when the bytes are too few; those beyond do not count.
template <class Content>
std::optional<Content> Read(bytes_t bytes) noexcept {
    if (bytes.size() < kSize<Content>) return std::nullopt;
    Content content{};
    std::memcpy(&content, bytes.data(), kSize<Content>);
    return content;
}

template <class Content>
void Write(std::byte* bytes, const Content& content) noexcept {
    std::memcpy(bytes, &content, kSize<Content>);
}

// As Read, with the `count` bytes that follow; nothing unless they have been received and are no
// more than one call carries.
template <class Content>
std::optional<std::pair<Content, bytes_t>> ReadWithPart(bytes_t bytes) noexcept {
    const auto content = Read<Content>(bytes);
    if (!content || content->size != content->count || content->size > kMaxPartSize)
        return std::nullopt;
    bytes = bytes.subspan(kSize<Content>);
    if (bytes.size() < content->size) return std::nullopt;
    return std::pair(*content, bytes.first(content->size));
}

// The reply to a SendReceive, whose bytes may be none.
struct PacketReply {
    vek::result_t verdict;
    bytes_t packet;
    bool has_packet;
};
std::optional<PacketReply> ReadPacketReply(bytes_t bytes) noexcept;

// How many bytes it is with a packet of `size` bytes.
constexpr std::size_t PacketReplySize(std::size_t size) noexcept {
    return kSize<SendReceiveReply> + (size + 3) / 4 * 4 + kSize<VerdictReply>;
}

}  // namespace wire

}  // namespace remote
