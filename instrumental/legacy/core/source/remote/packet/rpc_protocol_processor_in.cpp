#include "remote/packet/rpc_protocol_processor_in.h"

#include <new>
#include <utility>

#include "remote/packet/packet_io.h"
#include "vek/trace/line.h"

namespace remote {
namespace {

namespace result = vek::result;
namespace system_error = vek::platform::system_error;
namespace trace = vek::trace;

// Of the unknown blocks of a packet: a peer is not to fill the trace.
constexpr std::size_t kMaxTracedBlocks = 8;

}  // namespace

RpcProtocolProcessorIn::RpcProtocolProcessorIn(trace::TracerPtr tracer) noexcept
    : tracer_(std::move(tracer)) {}

vek::result_t RpcProtocolProcessorIn::ParsePacket(bytes_t packet) noexcept {
    Clear();
    return ReadPacket(packet, false);
}

vek::result_t RpcProtocolProcessorIn::ParsePacket(PacketBuffer packet) noexcept {
    Clear();
    storage_ = std::move(packet);
    return ReadUsual(storage_.span()) ? result::kOk : ReadPacket(storage_.span(), true);
}

vek::result_t RpcProtocolProcessorIn::ParseInPlace(bytes_t packet) noexcept {
    Clear();
    return ReadUsual(packet) ? result::kOk : ReadPacket(packet, true);
}

// Reads a packet that has the usual head and nothing behind its call data, in place. False, with
// nothing read, for any other.
bool RpcProtocolProcessorIn::ReadUsual(bytes_t packet) noexcept {
    UsualHead head;
    if (!head.Read(packet)) return false;
    const bytes_t data = packet.subspan(sizeof head);
    if (head.data_size != rpc_block_info::AllRemainingData && head.data_size != data.size()) {
        return false;
    }
    present_ = rpc_presence::CallIdentification | rpc_presence::CallData;
    call_id_ = head.call_id;
    parent_call_id_ = head.parent_call_id;
    call_data_ = data;
    return true;
}

void RpcProtocolProcessorIn::Clear() noexcept {
    present_ = 0;
    call_id_ = parent_call_id_ = 0;
    call_data_ = {};
    storage_ = {};
    values_.clear();
    mask_.clear();
    handles_.clear();
    prepared_ = false;
}

vek::result_t RpcProtocolProcessorIn::ReadPacket(bytes_t packet, bool in_place) noexcept {
    const vek::result_t code = ReadBlocks(packet, in_place);
    if (vek::Failed(code)) Clear();
    return code;
}

vek::result_t RpcProtocolProcessorIn::ReadBlocks(bytes_t packet, bool in_place) noexcept {
    const std::byte* buffer = packet.data();
    std::size_t size = packet.size();

    std::uint32_t signature = 0;
    REMOTE_RETURN_IF_FAILED(tracer_, ReadFromBuffer(buffer, size, signature));
    if (signature != rpc_block_tag::Signature) {
        trace::Write(tracer_, trace::level::kRemoting,
                     "rmt\tRpcProtocolProcessorIn::ParsePacket: wrong packet signature");
        return result::kInvalidSignature;
    }
    std::size_t unknown = 0;
    while (size != 0) {
        std::uint16_t tag = 0;
        std::uint16_t block_size = 0;
        REMOTE_RETURN_IF_FAILED(tracer_, ReadFromBuffer(buffer, size, tag));
        REMOTE_RETURN_IF_FAILED(tracer_, ReadFromBuffer(buffer, size, block_size));
        const std::size_t length =
            block_size == rpc_block_info::AllRemainingData ? size : block_size;
        if (length > size) {
            trace::Write(tracer_, trace::level::kRemoting,
                         "rmt\tRpcProtocolProcessorIn::ParsePacket: wrong block in packet - "
                         "invalid block size = ",
                         block_size, ", packet size = ", size);
            return result::kInvalidSize;
        }
        // The block is read by a cursor of its own: a newer writer's surplus is passed over, and
        // no block reaches into the next.
        const bytes_t block(buffer, length);
        vek::result_t code = result::kOk;
        switch (tag) {
            case rpc_block_tag::CallData:
                code = ReadCallData(block, in_place);
                break;
            case rpc_block_tag::CallIdentification:
                code = ReadCallIdentification(block);
                break;
            case rpc_block_tag::FileHandles:
                code = ReadFileHandles(block);
                break;
            default:
                if (++unknown > kMaxTracedBlocks) break;
                trace::Write(tracer_, trace::level::kDetail,
                             "rmt\tRpcProtocolProcessorIn::ParsePacket: unknown block ", tag,
                             ", size ", block_size, " - skip");
        }
        if (vek::Failed(code)) return code;
        buffer += length;
        size -= length;
    }
    return result::kOk;
}

vek::result_t RpcProtocolProcessorIn::ReadCallData(bytes_t block, bool in_place) noexcept {
    present_ |= rpc_presence::CallData;
    if (in_place) {
        call_data_ = block;
        return result::kOk;
    }
    const std::byte* buffer = block.data();
    std::size_t size = block.size();
    PacketBuffer data = PacketBuffer::Allocate(size);
    if (!data) {
        trace::Write(tracer_, trace::level::kRemoting,
                     "rmt\tRpcProtocolProcessorIn::ParsePacket: cannot allocate block for incoming "
                     "data of size ",
                     size);
        return result::kOutOfMemory;
    }
    REMOTE_RETURN_IF_FAILED(tracer_, ReadFromBuffer(buffer, size, data.data(), data.size()));
    storage_ = std::move(data);
    call_data_ = storage_.span();
    return result::kOk;
}

vek::result_t RpcProtocolProcessorIn::ReadCallIdentification(bytes_t block) noexcept {
    const std::byte* buffer = block.data();
    std::size_t size = block.size();
    REMOTE_RETURN_IF_FAILED(tracer_, ReadFromBuffer(buffer, size, call_id_));
    REMOTE_RETURN_IF_FAILED(tracer_, ReadFromBuffer(buffer, size, parent_call_id_));
    present_ |= rpc_presence::CallIdentification;
    return result::kOk;
}

vek::result_t RpcProtocolProcessorIn::ReadFileHandles(bytes_t block) noexcept {
    const std::byte* buffer = block.data();
    std::size_t size = block.size();
    std::uint32_t count = 0;
    if (size >= sizeof count) {
        REMOTE_RETURN_IF_FAILED(tracer_, ReadFromBuffer(buffer, size, count));
    }
    const std::uint64_t required = MaskAndValuesSize(count);
    if (required + sizeof count > block.size()) {
        // The count itself is told of only where it is what the block lacks.
        trace::Write(tracer_, trace::level::kRemoting,
                     "rmt\tRpcProtocolProcessorIn::ParsePacket: wrong file handles in packet - "
                     "required size = ",
                     required > block.size() ? required : required + sizeof count,
                     ", block size = ", block.size());
        return result::kInvalidSignature;
    }
    try {
        // No writer sends more than a block of a size of its own holds, and each handle costs one
        // here: a peer gets no memory for more.
        if (required + sizeof count > rpc_block_info::MaxSize) throw std::bad_alloc();
        values_.resize(count);
        mask_.resize(MaskWords(count));
    } catch (const std::bad_alloc&) {
        trace::Write(tracer_, trace::level::kRemoting,
                     "rmt\tRpcProtocolProcessorIn::ParsePacket: cannot allocate block for incoming "
                     "file handles of count ",
                     count);
        return result::kOutOfMemory;
    }
    REMOTE_RETURN_IF_FAILED(
        tracer_, ReadFromBuffer(buffer, size, mask_.data(), mask_.size() * sizeof mask_[0]));
    REMOTE_RETURN_IF_FAILED(
        tracer_, ReadFromBuffer(buffer, size, values_.data(), values_.size() * sizeof values_[0]));
    present_ |= rpc_presence::FileHandles;
    return result::kOk;
}

vek::result_t RpcProtocolProcessorIn::PrepareHandles(HandleTransfer& transfer,
                                                     bool adopt) noexcept {
    if (!has_file_handles() || prepared_) return result::kOk;
    std::vector<handle_t> prepared;
    try {
        prepared.resize(values_.size());
    } catch (const std::bad_alloc&) {
        trace::Write(tracer_, trace::level::kRemoting,
                     "rmt\tRpcProtocolProcessorIn::PrepareHandles: cannot allocate block for "
                     "incoming file handles of count ",
                     values_.size());
        return result::kOutOfMemory;
    }
    for (std::size_t i = 0; i < prepared.size(); ++i) {
        const vek::result_t code = PrepareHandle(i, transfer, adopt, prepared[i]);
        if (vek::Succeeded(code)) continue;
        while (i-- > 0) {
            if (!adopt || !IsPushed(i)) transfer.Close(prepared[i]);
        }
        return code;
    }
    for (std::size_t i = 0; i < prepared.size(); ++i) mask_[i / 32] |= MaskBit(i);
    handles_ = std::move(prepared);
    prepared_ = true;
    return result::kOk;
}

vek::result_t RpcProtocolProcessorIn::PrepareHandle(std::size_t index, HandleTransfer& transfer,
                                                    bool adopt, handle_t& here) noexcept {
    const handle_t value = ToHandle(values_[index]);
    if (!IsPushed(index)) {
        const auto error = transfer.FromPeer(index, value, here);
        if (error == system_error::kNone) return result::kOk;
        trace::Write(tracer_, trace::level::kRemoting,
                     "rmt\tRpcProtocolProcessorOut::ConstructPacket: cannot convert remote handle ",
                     values_[index], ", err ", error);
        return result::kUnexpected;
    }
    auto error = system_error::kInvalidHandle;
    if (transfer.PeerCanPush()) {
        if (adopt) {
            here = value;
            return result::kOk;
        }
        error = transfer.Duplicate(value, here);
    }
    if (error == system_error::kNone) return result::kOk;
    trace::Write(tracer_, trace::level::kRemoting,
                 "rmt\tRpcProtocolProcessorOut::ConstructPacket: cannot duplicate local handle ",
                 values_[index], ", err ", error);
    return result::kUnexpected;
}

}  // namespace remote
