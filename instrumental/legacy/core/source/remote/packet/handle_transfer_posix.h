#pragma once

#include <vector>

#include "remote/packet/handle_transfer.h"
#include "vek/platform/descriptor_posix.h"

namespace remote {

// Descriptors travel beside a packet, as ancillary data of its socket: nothing is pushed into the
// peer, and the packet's handles are those that were received with it, in order.
class PosixHandleTransfer final : public HandleTransfer {
public:
    // For a packet that `received` came with. Those that are not taken are closed with this object.
    explicit PosixHandleTransfer(std::vector<vek::platform::Descriptor> received = {}) noexcept
        : received_(std::move(received)) {}

    // Always fails: the descriptor goes with the packet.
    vek::platform::system_error_t ToPeer(handle_t handle, handle_t& in_peer) noexcept override;

    // Takes the `index`th received descriptor, which can be done once. `value` means nothing here.
    vek::platform::system_error_t FromPeer(std::size_t index, handle_t value,
                                           handle_t& here) noexcept override;

    vek::platform::system_error_t Duplicate(handle_t handle, handle_t& copy) noexcept override;
    void Close(handle_t handle) noexcept override;
    bool PeerCanPush() const noexcept override { return false; }

private:
    std::vector<vek::platform::Descriptor> received_;
};

}  // namespace remote
