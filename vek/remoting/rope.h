#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "remote/packet/handle_transfer.h"
#include "remote/packet/rpc_protocol_processor_in.h"
#include "vek/core/result.h"
#include "vek/platform/native_handle.h"
#include "vek/remoting/call.h"
#include "vek/serialization/inline_vector.h"
#include "vek/serialization/writer.h"

namespace vek::remoting {

// The named streams of a request or a reply.
enum class stream_ids : std::uint8_t {
    RequestData,  // serialized arguments
    Handles,      // kernel handles
};

// One request or reply as nodes of data, each a view of bytes that its maker keeps until the rope
// was sent.
class Rope {
public:
    // Raises std::bad_alloc.
    void Append(bytes_t node) { nodes_.Append(node); }
    void Append(std::span<const bytes_t> nodes) { nodes_.Append(nodes); }
    // What `writer` has written. When it comes first, its room is used for the heads.
    void Append(serialization::Writer& writer) {
        const auto pieces = writer.Pieces();
        if (nodes_.empty() && !pieces.empty()) room_ = writer.Room();
        nodes_.Append(pieces);
    }
    // Takes `size` bytes of the room, which has as many, for a head in front of all; to be written.
    std::byte* Prepend(std::size_t size) noexcept {
        room_ = room_.first(room_.size() - size);
        std::byte* const head = room_.data() + room_.size();
        *nodes_.first() = {head, nodes_.data()->size() + size};
        return head;
    }
    // Puts what `head` has written in front of all, with its room.
    void Prepend(serialization::Writer& head) {
        const auto pieces = head.Pieces();
        const std::size_t count = nodes_.size();
        nodes_.Add(pieces.size());
        std::memmove(nodes_.first() + pieces.size(), nodes_.data(), count * sizeof(bytes_t));
        std::ranges::copy(pieces, nodes_.first());
        room_ = head.Room();
    }
    // What is left of it, right before the first node.
    std::span<std::byte> room() const noexcept { return room_; }
    // A handle of this process, which stays the caller's; the peer gets one of its own.
    void AppendHandle(remote::handle_t handle) { handles_.push_back(handle); }

    bool Has(stream_ids stream) const noexcept {
        return stream == stream_ids::RequestData ? !nodes_.empty() : !handles_.empty();
    }
    std::span<const bytes_t> nodes() const noexcept { return {nodes_.data(), nodes_.size()}; }
    std::span<const remote::handle_t> handles() const noexcept { return handles_; }

private:
    serialization::InlineVector<bytes_t, 6> nodes_;
    std::span<std::byte> room_;
    std::vector<remote::handle_t> handles_;
};

// Closes the kernel handles that came with a packet, over a transport that takes them, when it has
// been dealt with: none of the interfaces here takes any.
class ReceivedHandles {
public:
    explicit ReceivedHandles(const remote::RpcProtocolProcessorIn& packet) noexcept
        : packet_(packet) {}
    ~ReceivedHandles() {
        for (const remote::handle_t handle : packet_.handles()) {
            platform::CloseNativeHandle(handle);
        }
    }
    ReceivedHandles(const ReceivedHandles&) = delete;
    ReceivedHandles& operator=(const ReceivedHandles&) = delete;

private:
    const remote::RpcProtocolProcessorIn& packet_;
};

}  // namespace vek::remoting
