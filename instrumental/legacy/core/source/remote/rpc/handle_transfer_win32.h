#pragma once

#include <windows.h>

#include "remote/packet/handle_transfer.h"

namespace remote {

// Duplicates handles out of and into a process.
class Win32HandleTransfer final : public HandleTransfer {
public:
    // `peer_process` is a handle with PROCESS_DUP_HANDLE access, which outlives this object.
    explicit Win32HandleTransfer(HANDLE peer_process) noexcept : peer_(peer_process) {}

    vek::platform::system_error_t ToPeer(handle_t handle, handle_t& in_peer) noexcept override {
        return Copy(::GetCurrentProcess(), handle, peer_, in_peer);
    }
    vek::platform::system_error_t FromPeer(std::size_t, handle_t value,
                                           handle_t& here) noexcept override {
        return Copy(peer_, value, ::GetCurrentProcess(), here);
    }
    vek::platform::system_error_t Duplicate(handle_t handle, handle_t& copy) noexcept override {
        return Copy(::GetCurrentProcess(), handle, ::GetCurrentProcess(), copy);
    }
    void Close(handle_t handle) noexcept override { ::CloseHandle(ToSystem(handle)); }
    void CloseInPeer(handle_t in_peer) noexcept override {
        ::DuplicateHandle(peer_, ToSystem(in_peer), nullptr, nullptr, 0, FALSE,
                          DUPLICATE_CLOSE_SOURCE);
    }

private:
    static HANDLE ToSystem(handle_t handle) noexcept { return reinterpret_cast<HANDLE>(handle); }

    static vek::platform::system_error_t Copy(HANDLE from, handle_t handle, HANDLE to,
                                              handle_t& copy) noexcept {
        HANDLE made = nullptr;
        if (::DuplicateHandle(from, ToSystem(handle), to, &made, 0, FALSE, DUPLICATE_SAME_ACCESS) ==
            FALSE) {
            return ::GetLastError();
        }
        copy = reinterpret_cast<handle_t>(made);
        return vek::platform::system_error::kNone;
    }

    const HANDLE peer_;
};

}  // namespace remote
