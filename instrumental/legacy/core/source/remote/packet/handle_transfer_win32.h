#pragma once

#include "remote/packet/handle_transfer.h"

namespace remote {

// Duplicates handles out of and into a process.
class Win32HandleTransfer final : public HandleTransfer {
public:
    // `peer_process` is a handle with PROCESS_DUP_HANDLE access, which outlives this object.
    explicit Win32HandleTransfer(handle_t peer_process) noexcept : peer_(peer_process) {}

    vek::platform::system_error_t ToPeer(handle_t handle, handle_t& in_peer) noexcept override;
    vek::platform::system_error_t FromPeer(std::size_t index, handle_t value,
                                           handle_t& here) noexcept override;
    vek::platform::system_error_t Duplicate(handle_t handle, handle_t& copy) noexcept override;
    void Close(handle_t handle) noexcept override;

private:
    handle_t peer_;
};

}  // namespace remote
