#pragma once

// The packet in which every request and every reply travels between two processes. All integers
// are little-endian.
//
//     signature (u32)
//     blocks: tag (u16), size of what follows in the block (u16), content

#include <cstddef>
#include <cstdint>
#include <cstring>
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
// The most that a block of a size of its own holds.
inline constexpr std::uint16_t MaxSize = AllRemainingData - 1;
}  // namespace rpc_block_info

// Which blocks a packet has.
namespace rpc_presence {
inline constexpr std::uint32_t CallData = 1u << 0;
inline constexpr std::uint32_t CallIdentification = 1u << 1;
inline constexpr std::uint32_t FileHandles = 1u << 2;
}  // namespace rpc_presence

// How a packet without handles begins, as every writer here writes it: readers and writers know it
// as one piece, which is what most packets cost.
struct UsualHead {
    std::uint32_t signature = rpc_block_tag::Signature;
    std::uint16_t identification_tag = rpc_block_tag::CallIdentification;
    std::uint16_t identification_size = 8;
    std::uint32_t call_id = 0;
    std::uint32_t parent_call_id = 0;
    std::uint16_t data_tag = rpc_block_tag::CallData;
    std::uint16_t data_size = 0;

    // False, with anything in here, for a packet that begins otherwise.
    bool Read(bytes_t packet) noexcept {
        const UsualHead usual;
        if (packet.size() < sizeof usual) return false;
        std::memcpy(this, packet.data(), sizeof usual);
        return signature == usual.signature && identification_tag == usual.identification_tag &&
               identification_size == usual.identification_size && data_tag == usual.data_tag;
    }
};
static_assert(sizeof(UsualHead) == 20);

// The mask of a handle block has a bit for each handle, the lowest of a word first. Set: the value
// is a handle of the receiver's, the sender has pushed it there. Clear: it is the sender's own.
constexpr std::uint64_t MaskWords(std::uint64_t handle_count) noexcept {
    return (handle_count + 31) / 32;
}
constexpr std::uint32_t MaskBit(std::size_t handle) noexcept { return 1u << (handle % 32); }

// The size of a handle block behind its count, in bytes.
constexpr std::uint64_t MaskAndValuesSize(std::uint64_t handle_count) noexcept {
    return sizeof(std::uint32_t) * (MaskWords(handle_count) + handle_count);
}

}  // namespace remote
