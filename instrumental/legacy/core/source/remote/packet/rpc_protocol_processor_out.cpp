#include "remote/packet/rpc_protocol_processor_out.h"

#include <cstring>
#include <new>
#include <utility>

#include "remote/packet/packet_io.h"
#include "vek/trace/line.h"

namespace remote {
namespace {

namespace result = vek::result;
namespace trace = vek::trace;
using std::uint16_t;
using std::uint32_t;

constexpr std::uint64_t kBlockHeadSize = 2 * sizeof(uint16_t);
constexpr std::uint16_t kIdentificationSize = 2 * sizeof(uint32_t);

constexpr std::uint64_t FileHandlesSize(std::uint64_t count) noexcept {
    return sizeof(uint32_t) + MaskAndValuesSize(count);
}

// With call data of at most this size every packet's size is a u32.
constexpr std::uint64_t kMaxCallData =
    UINT32_MAX - (sizeof rpc_block_tag::Signature + 3 * kBlockHeadSize + kIdentificationSize +
                  rpc_block_info::MaxSize);

constexpr uint32_t kNotTransferred = 0xFFFFFFFF;

// The parts of a packet with the usual head.
constexpr uint32_t kUsual = rpc_presence::CallIdentification | rpc_presence::CallData;

}  // namespace

RpcProtocolProcessorOut::RpcProtocolProcessorOut(trace::TracerPtr tracer) noexcept
    : tracer_(std::move(tracer)) {}

void RpcProtocolProcessorOut::SetCallIdentification(std::uint32_t call_id,
                                                    std::uint32_t parent_call_id) noexcept {
    call_id_ = call_id;
    parent_call_id_ = parent_call_id;
    present_ |= rpc_presence::CallIdentification;
}

vek::result_t RpcProtocolProcessorOut::SetCallData(std::span<const bytes_t> pieces) noexcept {
    std::uint64_t size = 0;
    for (const bytes_t piece : pieces) {
        if (piece.size() > kMaxCallData - size) return result::kInvalidSize;
        size += piece.size();
    }
    call_data_ = pieces;
    call_data_size_ = size;
    present_ |= rpc_presence::CallData;
    return result::kOk;
}

vek::result_t RpcProtocolProcessorOut::SetFileHandles(std::span<const handle_t> handles) noexcept {
    if (FileHandlesSize(handles.size()) > rpc_block_info::MaxSize) return result::kInvalidSize;
    handles_ = handles;
    present_ |= rpc_presence::FileHandles;
    return result::kOk;
}

bool RpcProtocolProcessorOut::has_file_handles() const noexcept {
    return Has(rpc_presence::FileHandles);
}
std::uint32_t RpcProtocolProcessorOut::call_id() const noexcept { return call_id_; }
std::uint32_t RpcProtocolProcessorOut::parent_call_id() const noexcept { return parent_call_id_; }
std::span<const handle_t> RpcProtocolProcessorOut::file_handles() const noexcept {
    return handles_;
}
std::span<const bytes_t> RpcProtocolProcessorOut::call_data() const noexcept { return call_data_; }
const std::vector<std::uint32_t>& RpcProtocolProcessorOut::transferred() const noexcept {
    return transferred_;
}

void RpcProtocolProcessorOut::CloseTransferred(HandleTransfer& transfer) noexcept {
    for (const uint32_t value : std::exchange(transferred_, {})) {
        if (value != kNotTransferred) transfer.CloseInPeer(ToHandle(value));
    }
}

std::uint64_t RpcProtocolProcessorOut::PacketSize() const noexcept {
    return HeadSize() + call_data_size_;
}

std::uint16_t RpcProtocolProcessorOut::CallDataBlockSize() const noexcept {
    return call_data_size_ < rpc_block_info::AllRemainingData
               ? static_cast<std::uint16_t>(call_data_size_)
               : rpc_block_info::AllRemainingData;
}

std::uint64_t RpcProtocolProcessorOut::HeadSize() const noexcept {
    if (present_ == kUsual) return sizeof(UsualHead);
    std::uint64_t size = sizeof rpc_block_tag::Signature;
    if (Has(rpc_presence::CallIdentification)) size += kBlockHeadSize + kIdentificationSize;
    if (Has(rpc_presence::FileHandles)) size += kBlockHeadSize + FileHandlesSize(handles_.size());
    if (Has(rpc_presence::CallData)) size += kBlockHeadSize;
    return size;
}

vek::result_t RpcProtocolProcessorOut::ConstructPacket(std::span<std::byte> packet,
                                                       HandleTransfer* transfer) noexcept {
    // Handles pushed for a packet that cannot be sent would stay open in the peer.
    if (packet.size() < PacketSize()) transfer = nullptr;
    std::byte* buffer = packet.data();
    std::size_t size = packet.size();
    if (const vek::result_t code = WriteHead(buffer, size, transfer); vek::Failed(code)) {
        return code;
    }
    for (const bytes_t piece : call_data_) {
        REMOTE_RETURN_IF_FAILED(tracer_, WriteToBuffer(buffer, size, piece.data(), piece.size()));
    }
    return result::kOk;
}

vek::result_t RpcProtocolProcessorOut::ConstructHead(std::span<std::byte> head,
                                                     HandleTransfer* transfer) noexcept {
    if (head.size() < HeadSize()) transfer = nullptr;
    std::byte* buffer = head.data();
    std::size_t size = head.size();
    return WriteHead(buffer, size, transfer);
}

vek::result_t RpcProtocolProcessorOut::WriteHead(std::byte*& buffer, std::size_t& size,
                                                 HandleTransfer* transfer) noexcept {
    if (present_ == kUsual && size >= sizeof(UsualHead)) {
        UsualHead head;
        head.call_id = call_id_;
        head.parent_call_id = parent_call_id_;
        head.data_size = CallDataBlockSize();
        std::memcpy(buffer, &head, sizeof head);
        buffer += sizeof head;
        size -= sizeof head;
        return result::kOk;
    }
    REMOTE_RETURN_IF_FAILED(
        tracer_, WriteToBuffer(buffer, size, rpc_block_tag::Signature, sizeof(uint32_t)));
    if (Has(rpc_presence::CallIdentification)) {
        REMOTE_RETURN_IF_FAILED(
            tracer_,
            WriteToBuffer(buffer, size, rpc_block_tag::CallIdentification, sizeof(uint16_t)));
        REMOTE_RETURN_IF_FAILED(tracer_,
                                WriteToBuffer(buffer, size, kIdentificationSize, sizeof(uint16_t)));
        REMOTE_RETURN_IF_FAILED(tracer_, WriteToBuffer(buffer, size, call_id_, sizeof(uint32_t)));
        REMOTE_RETURN_IF_FAILED(tracer_,
                                WriteToBuffer(buffer, size, parent_call_id_, sizeof(uint32_t)));
    }
    if (Has(rpc_presence::FileHandles)) {
        const vek::result_t code = WriteFileHandles(buffer, size, transfer);
        if (vek::Failed(code)) return code;
    }
    if (Has(rpc_presence::CallData)) {
        const uint16_t block_size = CallDataBlockSize();
        REMOTE_RETURN_IF_FAILED(
            tracer_, WriteToBuffer(buffer, size, rpc_block_tag::CallData, sizeof(uint16_t)));
        REMOTE_RETURN_IF_FAILED(tracer_, WriteToBuffer(buffer, size, block_size, sizeof(uint16_t)));
    }
    return result::kOk;
}

vek::result_t RpcProtocolProcessorOut::WriteFileHandles(std::byte*& buffer, std::size_t& size,
                                                        HandleTransfer* transfer) noexcept {
    std::vector<uint32_t> mask;
    std::vector<uint32_t> values;
    REMOTE_RETURN_IF_FAILED(tracer_, TransferHandles(transfer, mask, values));

    const auto count = static_cast<uint32_t>(handles_.size());
    const auto block_size = static_cast<uint16_t>(FileHandlesSize(count));
    REMOTE_RETURN_IF_FAILED(
        tracer_, WriteToBuffer(buffer, size, rpc_block_tag::FileHandles, sizeof(uint16_t)));
    REMOTE_RETURN_IF_FAILED(tracer_, WriteToBuffer(buffer, size, block_size, sizeof(uint16_t)));
    REMOTE_RETURN_IF_FAILED(tracer_, WriteToBuffer(buffer, size, count, sizeof(uint32_t)));
    REMOTE_RETURN_IF_FAILED(
        tracer_, WriteToBuffer(buffer, size, mask.data(), mask.size() * sizeof(uint32_t)));
    REMOTE_RETURN_IF_FAILED(
        tracer_, WriteToBuffer(buffer, size, values.data(), values.size() * sizeof(uint32_t)));
    return result::kOk;
}

vek::result_t RpcProtocolProcessorOut::TransferHandles(
    HandleTransfer* transfer, std::vector<std::uint32_t>& mask,
    std::vector<std::uint32_t>& values) noexcept {
    try {
        mask.resize(MaskWords(handles_.size()));
        values.resize(handles_.size());
        transferred_.assign(handles_.size(), kNotTransferred);
    } catch (const std::bad_alloc&) {
        return result::kOutOfMemory;
    }
    for (std::size_t i = 0; i < handles_.size(); ++i) {
        values[i] = static_cast<uint32_t>(handles_[i]);
        if (transfer == nullptr) continue;
        handle_t in_peer = 0;
        const auto error = transfer->ToPeer(handles_[i], in_peer);
        if (error != vek::platform::system_error::kNone) {
            trace::Write(tracer_, trace::level::kRemoting,
                         "rmt\tRpcProtocolProcessorOut::ConstructPacket: cannot convert handle ",
                         handles_[i], ", err ", error);
            continue;
        }
        values[i] = transferred_[i] = static_cast<uint32_t>(in_peer);
        mask[i / 32] |= MaskBit(i);
    }
    return result::kOk;
}

}  // namespace remote
