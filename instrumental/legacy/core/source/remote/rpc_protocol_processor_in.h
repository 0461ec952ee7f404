#pragma once

#include <vector>

#include "remote/handle_transfer.h"
#include "remote/packet_buffer.h"
#include "remote/rpc_block.h"
#include "vek/core/result.h"
#include "vek/trace/tracer.h"

namespace remote {

// Reads one packet and owns what it held. Used by one thread at a time.
class RpcProtocolProcessorIn {
public:
    explicit RpcProtocolProcessorIn(vek::trace::TracerPtr tracer = {}) noexcept;

    // Reads `packet`, copying the call data. After a failure nothing of it is there. The codes:
    // kInvalidSignature, also for a handle block that contradicts its size; kInvalidSize for a
    // block longer than the packet; kBufferTooSmall for a packet that ends within a field;
    // kOutOfMemory.
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
    // (kUnexpected, kOutOfMemory) what was made so far is closed. Nothing to do without handles.
    vek::result_t PrepareHandles(HandleTransfer& transfer, bool adopt) noexcept;

    // Those that PrepareHandles made, in the sender's order. The caller of PrepareHandles owns
    // them.
    std::span<const handle_t> handles() const noexcept;
};

}  // namespace remote
