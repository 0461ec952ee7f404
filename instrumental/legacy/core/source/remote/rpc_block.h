#pragma once

// The packet in which every request and every reply travels between two processes. All integers
// are little-endian.
//
//     signature (u32)
//     blocks: tag (u16), size of what follows in the block (u16), content

#include <cstddef>
#include <cstdint>
#include <span>

namespace remote {

using bytes_t = std::span<const std::byte>;

namespace rpc_block_tag {
inline constexpr std::uint32_t Signature = 0x0330EDEC;
inline constexpr std::uint16_t CallData = 1;            // a marshalled call
inline constexpr std::uint16_t CallIdentification = 2;  // call id, parent call id: u32 each
inline constexpr std::uint16_t FileHandles = 3;  // count (u32), mask words, values (u32 each)
}  // namespace rpc_block_tag

namespace rpc_block_info {
// A block of this size goes on to the end of the packet.
inline constexpr std::uint16_t AllRemainingData = 0xFFFF;
}  // namespace rpc_block_info

}  // namespace remote
