#include "remote/rpc/wire.h"

#include <algorithm>

namespace remote::wire {

std::optional<PacketReply> ReadPacketReply(bytes_t bytes) noexcept {
    PacketReply reply{};
    // The head without the count, which a reply without a packet does not have.
    constexpr std::size_t kHead = 8;
    const auto size = Read<std::uint32_t>(bytes);
    if (!size || bytes.size() < kHead) return std::nullopt;
    const auto pointer = Read<std::uint32_t>(bytes.subspan(4));
    reply.has_packet = *pointer != 0;
    bytes = bytes.subspan(kHead);
    if (reply.has_packet) {
        const auto count = Read<std::uint32_t>(bytes);
        if (!count || *count != *size || *size > bytes.size() - 4) return std::nullopt;
        reply.packet = bytes.subspan(4, *size);
        bytes = bytes.subspan(std::min(bytes.size(), 4 + (std::size_t{*size} + 3) / 4 * 4));
    }
    const auto verdict = Read<VerdictReply>(bytes);
    if (!verdict) return std::nullopt;
    reply.verdict = verdict->verdict;
    return reply;
}

}  // namespace remote::wire
