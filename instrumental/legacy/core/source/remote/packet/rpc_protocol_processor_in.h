#pragma once

#include <vector>

#include "remote/packet/handle_transfer.h"
#include "remote/packet/packet_buffer.h"
#include "remote/packet/rpc_block.h"
#include "vek/core/result.h"
#include "vek/trace/tracer.h"

namespace remote {

// Whoever waits for a packet may have storage for the longest part of its call data: then a
// transport that can writes it there as it arrives, and it is left out of the call data. What has
// arrived stays in the storage also when the rest of the packet never comes or is not what it
// should be.
class Landing {
public:
    // `head` is how the call data of `size` bytes begins. Gives the storage for as many bytes of
    // it, from `offset` on, which is not beyond the head; empty for none.
    virtual std::span<std::byte> Find(bytes_t head, std::uint64_t size,
                                      std::size_t& offset) noexcept = 0;
    // The bytes are there; not called when they came in the call data after all.
    virtual void Landed() noexcept = 0;

protected:
    ~Landing() = default;
};

// Room for a short packet and what a transport has in front of it. Not initialised.
struct PacketRoom {
    PacketRoom() noexcept {}
    alignas(std::uint64_t) std::byte bytes[8 + 8192];
};

// Reads one packet and owns what it held. Used by one thread at a time.
class RpcProtocolProcessorIn {
public:
    explicit RpcProtocolProcessorIn(vek::trace::TracerPtr tracer = {}) noexcept;
    RpcProtocolProcessorIn(const RpcProtocolProcessorIn&) = delete;
    RpcProtocolProcessorIn& operator=(const RpcProtocolProcessorIn&) = delete;

    // Reads `packet`, copying the call data. Of several blocks of a kind the last one counts, a
    // block's surplus and unknown blocks are skipped. What was there before is dropped, and after a
    // failure nothing of the packet is there. The codes:
    // kInvalidSignature, also for a handle block that its size does not hold; kInvalidSize for a
    // block longer than the packet; kBufferTooSmall for a packet that ends within a field;
    // kOutOfMemory, also for more handles than a block can hold (15885).
    vek::result_t ParsePacket(bytes_t packet) noexcept;

    // The same, taking the packet over: the call data is a view of it.
    vek::result_t ParsePacket(PacketBuffer packet) noexcept;

    // The same for a packet that stays where it is as long as what is read here is used.
    vek::result_t ParseInPlace(bytes_t packet) noexcept;

    // A transport's, until the packet has been read: for one that is parsed in place.
    PacketRoom& room() noexcept { return room_; }

    // For the next packet that is received: null for none. `landing` stays until it has come.
    void set_landing(Landing* landing) noexcept { landing_ = landing; }
    Landing* landing() const noexcept { return landing_; }

    bool has_call_data() const noexcept { return Has(rpc_presence::CallData); }
    bool has_call_identification() const noexcept { return Has(rpc_presence::CallIdentification); }
    bool has_file_handles() const noexcept { return Has(rpc_presence::FileHandles); }

    std::uint32_t call_id() const noexcept { return call_id_; }
    std::uint32_t parent_call_id() const noexcept { return parent_call_id_; }
    bytes_t GetCallData() const noexcept { return call_data_; }  // valid as long as this object

    // Makes the received handle values handles of this process. `adopt`: values that the sender has
    // pushed here already become the caller's own instead of being duplicated. On failure
    // (kUnexpected, kOutOfMemory) what was made so far is closed; values to adopt are not, as
    // nothing but the peer's word says that they are its to give. Nothing to do without handles, or
    // when they are prepared already.
    vek::result_t PrepareHandles(HandleTransfer& transfer, bool adopt) noexcept;

    // The handles that PrepareHandles made, in the sender's order. The caller of PrepareHandles
    // owns them.
    std::span<const handle_t> handles() const noexcept { return handles_; }

private:
    bool Has(std::uint32_t part) const noexcept { return (present_ & part) != 0; }
    bool IsPushed(std::size_t handle) const noexcept {
        return (mask_[handle / 32] & MaskBit(handle)) != 0;
    }
    void Clear() noexcept;
    vek::result_t ReadPacket(bytes_t packet, bool in_place) noexcept;
    bool ReadUsual(bytes_t packet) noexcept;
    vek::result_t ReadBlocks(bytes_t packet, bool in_place) noexcept;
    vek::result_t ReadCallData(bytes_t block, bool in_place) noexcept;
    vek::result_t ReadCallIdentification(bytes_t block) noexcept;
    vek::result_t ReadFileHandles(bytes_t block) noexcept;
    vek::result_t PrepareHandle(std::size_t index, HandleTransfer& transfer, bool adopt,
                                handle_t& here) noexcept;

    vek::trace::TracerPtr tracer_;
    Landing* landing_ = nullptr;
    std::uint32_t present_ = 0;  // of rpc_presence
    std::uint32_t call_id_ = 0;
    std::uint32_t parent_call_id_ = 0;
    PacketBuffer storage_;  // of the call data, or the packet that it is part of
    bytes_t call_data_;
    std::vector<std::uint32_t> values_;  // as received
    std::vector<std::uint32_t> mask_;
    std::vector<handle_t> handles_;
    bool prepared_ = false;
    PacketRoom room_;
};

}  // namespace remote
