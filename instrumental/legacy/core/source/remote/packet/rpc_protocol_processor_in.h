#pragma once

#include <vector>

#include "remote/packet/handle_transfer.h"
#include "remote/packet/packet_buffer.h"
#include "remote/packet/rpc_block.h"
#include "vek/core/result.h"
#include "vek/trace/tracer.h"

namespace remote {

// Reads one packet and owns what it held. Used by one thread at a time.
class RpcProtocolProcessorIn {
public:
    explicit RpcProtocolProcessorIn(vek::trace::TracerPtr tracer = {}) noexcept;

    // Reads `packet`, copying the call data. Of several blocks of a kind the last one counts, a
    // block's surplus and unknown blocks are skipped. What was there before is dropped, and after a
    // failure nothing of the packet is there. The codes:
    // kInvalidSignature, also for a handle block that its size does not hold; kInvalidSize for a
    // block longer than the packet; kBufferTooSmall for a packet that ends within a field;
    // kOutOfMemory, also for more handles than a block can hold (15885).
    vek::result_t ParsePacket(bytes_t packet) noexcept;

    // The same, taking the packet over: the call data is a view of it.
    vek::result_t ParsePacket(PacketBuffer packet) noexcept;

    bool has_call_data() const noexcept;
    bool has_call_identification() const noexcept;
    bool has_file_handles() const noexcept;

    std::uint32_t call_id() const noexcept;
    std::uint32_t parent_call_id() const noexcept;
    bytes_t GetCallData() const noexcept;  // valid as long as this object

    // Makes the received handle values handles of this process. `adopt`: values that the sender has
    // pushed here already become the caller's own instead of being duplicated. On failure
    // (kUnexpected, kOutOfMemory) what was made so far is closed; values to adopt are not, as
    // nothing but the peer's word says that they are its to give. Nothing to do without handles, or
    // when they are prepared already.
    vek::result_t PrepareHandles(HandleTransfer& transfer, bool adopt) noexcept;

    // The handles that PrepareHandles made, in the sender's order. The caller of PrepareHandles
    // owns them.
    std::span<const handle_t> handles() const noexcept;

private:
    bool Has(std::uint32_t part) const noexcept { return (present_ & part) != 0; }
    bool IsPushed(std::size_t handle) const noexcept {
        return (mask_[handle / 32] & MaskBit(handle)) != 0;
    }
    void Clear() noexcept;
    vek::result_t ReadPacket(bytes_t packet, bool in_place) noexcept;
    vek::result_t ReadBlocks(bytes_t packet, bool in_place) noexcept;
    vek::result_t ReadCallData(bytes_t block, bool in_place) noexcept;
    vek::result_t ReadCallIdentification(bytes_t block) noexcept;
    vek::result_t ReadFileHandles(bytes_t block) noexcept;
    vek::result_t PrepareHandle(std::size_t index, HandleTransfer& transfer, bool adopt,
                                handle_t& here) noexcept;

    vek::trace::TracerPtr tracer_;
    std::uint32_t present_ = 0;  // of rpc_presence
    std::uint32_t call_id_ = 0;
    std::uint32_t parent_call_id_ = 0;
    PacketBuffer storage_;  // of the call data, or the packet that it is part of
    bytes_t call_data_;
    std::vector<std::uint32_t> values_;  // as received
    std::vector<std::uint32_t> mask_;
    std::vector<handle_t> handles_;
    bool prepared_ = false;
};

}  // namespace remote
