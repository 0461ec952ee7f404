#pragma once

#include <vector>

#include "remote/packet/handle_transfer.h"
#include "remote/packet/rpc_block.h"
#include "vek/core/result.h"
#include "vek/trace/tracer.h"

namespace remote {

// What a sender puts in front of the call data of a packet without handles: a frame's head and the
// packet's own.
inline constexpr std::size_t kRoomForHeads = 8 + sizeof(UsualHead);

// Writes one packet. Used by one thread at a time. What is set is viewed, not copied: it must stay
// until the packet has been written or sent.
class RpcProtocolProcessorOut {
public:
    explicit RpcProtocolProcessorOut(vek::trace::TracerPtr tracer = {}) noexcept;

    void SetCallIdentification(std::uint32_t call_id, std::uint32_t parent_call_id) noexcept;

    // The call data is `pieces` one after another. kInvalidSize when a packet cannot hold them
    // (more than 4 GiB less what a packet adds).
    vek::result_t SetCallData(std::span<const bytes_t> pieces) noexcept;

    // `room` ends where the first piece begins, and may be written over by the sender. Such a
    // packet needs no room of its own for its heads.
    void SetRoom(std::span<std::byte> room) noexcept { room_ = room; }
    std::span<std::byte> room() const noexcept { return room_; }

    // Handles travel as 32 bits, which are all the significant ones. kInvalidSize for more of them
    // than a block can hold (15885).
    vek::result_t SetFileHandles(std::span<const handle_t> handles) noexcept;

    bool has_file_handles() const noexcept;
    std::uint32_t call_id() const noexcept;
    std::uint32_t parent_call_id() const noexcept;
    std::span<const handle_t> file_handles() const noexcept;
    std::span<const bytes_t> call_data() const noexcept;

    // In bytes.
    std::uint64_t PacketSize() const noexcept;

    // Writes the packet. Handles go through `transfer`; without one they are written as they are,
    // for the receiver to fetch. A handle that cannot be pushed is not an error of the packet.
    // kBufferTooSmall: nothing beyond the end of `buffer` was written, and no handle was pushed.
    // kOutOfMemory: nor was it.
    vek::result_t ConstructPacket(std::span<std::byte> buffer,
                                  HandleTransfer* transfer = nullptr) noexcept;

    // The same without the bytes of the call data, for a sender that gathers: they follow the head.
    std::uint64_t HeadSize() const noexcept;
    vek::result_t ConstructHead(std::span<std::byte> buffer,
                                HandleTransfer* transfer = nullptr) noexcept;

    // The value of each handle in the peer, by the last packet written; 0xFFFFFFFF for one that
    // could not be pushed.
    const std::vector<std::uint32_t>& transferred() const noexcept;

    // Closes those in the peer, once it has duplicated them: when its reply is there. Not for a
    // peer that adopts them, whose they are.
    void CloseTransferred(HandleTransfer& transfer) noexcept;

private:
    bool Has(std::uint32_t part) const noexcept { return (present_ & part) != 0; }
    std::uint16_t CallDataBlockSize() const noexcept;
    vek::result_t WriteHead(std::byte*& buffer, std::size_t& size,
                            HandleTransfer* transfer) noexcept;
    vek::result_t WriteFileHandles(std::byte*& buffer, std::size_t& size,
                                   HandleTransfer* transfer) noexcept;
    vek::result_t TransferHandles(HandleTransfer* transfer, std::vector<std::uint32_t>& mask,
                                  std::vector<std::uint32_t>& values) noexcept;

    vek::trace::TracerPtr tracer_;
    std::uint32_t present_ = 0;  // of rpc_presence
    std::uint32_t call_id_ = 0;
    std::uint32_t parent_call_id_ = 0;
    std::span<const bytes_t> call_data_;
    std::uint64_t call_data_size_ = 0;
    std::span<std::byte> room_;
    std::span<const handle_t> handles_;
    std::vector<std::uint32_t> transferred_;
};

}  // namespace remote
