// Packets from a peer. The first byte says how their handles are prepared, the rest is the packet.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "remote/packet/rpc_protocol_processor_in.h"
#include "remote/packet/rpc_protocol_processor_out.h"

namespace {

using remote::bytes_t;
using remote::handle_t;
using remote::RpcProtocolProcessorIn;
using remote::RpcProtocolProcessorOut;
using vek::platform::system_error_t;

void Require(bool holds) {
    if (!holds) std::abort();
}

// Takes every line, so that every line is made.
class AnyTracer final : public vek::trace::Tracer {
public:
    bool IsEnabled(vek::trace::level_t) const noexcept override { return true; }
    void Write(vek::trace::level_t, std::string_view text) noexcept override {
        Require(!text.empty());
    }
};

// A handle of the peer's is its value, in this process a bit is added: a packet can be written
// again from what was prepared of it. Counts what is open; one operation may fail.
class CountingTransfer final : public remote::HandleTransfer {
public:
    static constexpr handle_t kFetched = handle_t{1} << 40;

    CountingTransfer(std::size_t failing, bool can_push) noexcept
        : failing_(failing), can_push_(can_push) {}

    system_error_t ToPeer(handle_t handle, handle_t& in_peer) noexcept override {
        if (IsFetched(handle)) return vek::platform::system_error::kInvalidHandle;
        in_peer = handle;
        return vek::platform::system_error::kNone;
    }
    system_error_t FromPeer(std::size_t index, handle_t value, handle_t& here) noexcept override {
        Require(index >= next_index_);
        next_index_ = index + 1;
        return Make(value ^ kFetched, here);
    }
    system_error_t Duplicate(handle_t handle, handle_t& copy) noexcept override {
        return Make(handle, copy);
    }
    void Close(handle_t) noexcept override {
        Require(open_ > 0);
        --open_;
    }
    void CloseInPeer(handle_t) noexcept override {}
    bool PeerCanPush() const noexcept override { return can_push_; }

    static bool IsFetched(handle_t handle) noexcept {
        return handle != static_cast<std::int32_t>(handle);
    }
    std::size_t open() const noexcept { return open_; }

private:
    system_error_t Make(handle_t handle, handle_t& made) noexcept {
        if (--failing_ == 0) return vek::platform::system_error::kAccessDenied;
        ++open_;
        made = handle;
        return vek::platform::system_error::kNone;
    }

    std::size_t failing_;
    bool can_push_;
    std::size_t open_ = 0;
    std::size_t next_index_ = 0;
};

void RequireEqual(const RpcProtocolProcessorIn& one, const RpcProtocolProcessorIn& other) {
    Require(one.has_call_data() == other.has_call_data());
    Require(one.has_call_identification() == other.has_call_identification());
    Require(one.has_file_handles() == other.has_file_handles());
    Require(one.call_id() == other.call_id() && one.parent_call_id() == other.parent_call_id());
    Require(std::ranges::equal(one.GetCallData(), other.GetCallData()));
    Require(std::ranges::equal(one.handles(), other.handles()));
}

std::vector<std::byte> WriteAgain(const RpcProtocolProcessorIn& in) {
    RpcProtocolProcessorOut out(std::make_shared<AnyTracer>());
    const bytes_t data = in.GetCallData();
    const bytes_t pieces[] = {data.first(data.size() / 2), data.subspan(data.size() / 2)};
    if (in.has_call_identification()) out.SetCallIdentification(in.call_id(), in.parent_call_id());
    if (in.has_call_data()) Require(out.SetCallData(pieces) == vek::result::kOk);
    if (in.has_file_handles() && out.SetFileHandles(in.handles()) != vek::result::kOk) return {};

    std::vector<std::byte> packet(out.PacketSize());
    CountingTransfer transfer(0, true);
    Require(out.ConstructPacket(packet, &transfer) == vek::result::kOk);
    std::vector<std::byte> head(out.HeadSize());
    Require(out.ConstructHead(head, &transfer) == vek::result::kOk);
    Require(std::ranges::equal(head, bytes_t(packet).first(head.size())));
    return packet;
}

void RequireSameAgain(const RpcProtocolProcessorIn& in) {
    const std::vector<std::byte> packet = WriteAgain(in);
    if (packet.empty()) return;  // more handles than a writer's block may hold
    RpcProtocolProcessorIn again;
    CountingTransfer transfer(0, true);
    Require(again.ParsePacket(packet) == vek::result::kOk);
    Require(again.PrepareHandles(transfer, true) == vek::result::kOk);
    RequireEqual(in, again);
    Require(WriteAgain(again) == packet);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const bool adopt = (data[0] & 1) != 0;
    const bool can_push = (data[0] & 0xF0) != 0xF0;
    const std::size_t failing = (data[0] >> 1) & 7;  // 0: none
    const bytes_t packet = std::as_bytes(std::span(data + 1, size - 1));

    const auto tracer = std::make_shared<AnyTracer>();
    RpcProtocolProcessorIn copying(tracer);
    RpcProtocolProcessorIn in_place(tracer);
    remote::PacketBuffer buffer = remote::PacketBuffer::Allocate(packet.size());
    if (!packet.empty()) std::memcpy(buffer.data(), packet.data(), packet.size());
    const vek::result_t code = copying.ParsePacket(packet);
    Require(in_place.ParsePacket(std::move(buffer)) == code);
    RequireEqual(copying, in_place);
    if (vek::Failed(code)) return 0;

    CountingTransfer transfer(failing, can_push);
    if (vek::Failed(copying.PrepareHandles(transfer, adopt))) {
        Require(transfer.open() == 0 && copying.handles().empty());
    } else {
        const auto fetched = static_cast<std::size_t>(
            std::ranges::count_if(copying.handles(), CountingTransfer::IsFetched));
        Require(transfer.open() == (adopt ? fetched : copying.handles().size()));
    }

    CountingTransfer sound(0, true);
    Require(in_place.PrepareHandles(sound, true) == vek::result::kOk);
    RequireSameAgain(in_place);
    return 0;
}
