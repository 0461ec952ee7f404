#pragma once

#include <fcntl.h>

#include <cerrno>
#include <vector>

#include "remote/packet/handle_transfer.h"
#include "vek/platform/descriptor_posix.h"
#include "vek/platform/errno_posix.h"

namespace remote {

// Descriptors travel beside a packet, as ancillary data of its socket: nothing is pushed into the
// peer, and the packet's handles are those that were received with it, in order.
class PosixHandleTransfer final : public HandleTransfer {
public:
    // For a packet that `received` came with. Those that are not taken are closed with this object.
    explicit PosixHandleTransfer(std::vector<vek::platform::Descriptor> received = {}) noexcept
        : received_(std::move(received)) {}

    // Always fails: the descriptor goes with the packet.
    vek::platform::system_error_t ToPeer(handle_t, handle_t&) noexcept override {
        return vek::platform::system_error::kInvalidHandle;
    }

    // Takes the `index`th received descriptor, which can be done once. The value means nothing.
    vek::platform::system_error_t FromPeer(std::size_t index, handle_t,
                                           handle_t& here) noexcept override {
        if (index >= received_.size() || !received_[index]) {
            return vek::platform::system_error::kInvalidHandle;
        }
        here = received_[index].Release();
        return vek::platform::system_error::kNone;
    }

    vek::platform::system_error_t Duplicate(handle_t handle, handle_t& copy) noexcept override {
        const int made = ::fcntl(static_cast<int>(handle), F_DUPFD_CLOEXEC, 0);
        if (made < 0) return vek::platform::FailWith(errno);
        copy = made;
        return vek::platform::system_error::kNone;
    }

    void Close(handle_t handle) noexcept override {
        vek::platform::Descriptor closed(static_cast<int>(handle));
    }

    void CloseInPeer(handle_t) noexcept override {}

    bool PeerCanPush() const noexcept override { return false; }

private:
    std::vector<vek::platform::Descriptor> received_;
};

}  // namespace remote
