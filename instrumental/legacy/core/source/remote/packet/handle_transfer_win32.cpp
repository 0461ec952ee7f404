#include "remote/packet/handle_transfer_win32.h"

#include <windows.h>

namespace remote {
namespace {

using vek::platform::system_error_t;

HANDLE ToSystem(handle_t handle) noexcept { return reinterpret_cast<HANDLE>(handle); }

system_error_t DuplicateBetween(HANDLE from_process, handle_t handle, HANDLE to_process,
                                handle_t& duplicate) noexcept {
    HANDLE made = nullptr;
    if (::DuplicateHandle(from_process, ToSystem(handle), to_process, &made, 0, FALSE,
                          DUPLICATE_SAME_ACCESS) == FALSE) {
        return ::GetLastError();
    }
    duplicate = reinterpret_cast<handle_t>(made);
    return vek::platform::system_error::kNone;
}

}  // namespace

system_error_t Win32HandleTransfer::ToPeer(handle_t handle, handle_t& in_peer) noexcept {
    return DuplicateBetween(::GetCurrentProcess(), handle, ToSystem(peer_), in_peer);
}

system_error_t Win32HandleTransfer::FromPeer(std::size_t, handle_t value, handle_t& here) noexcept {
    return DuplicateBetween(ToSystem(peer_), value, ::GetCurrentProcess(), here);
}

system_error_t Win32HandleTransfer::Duplicate(handle_t handle, handle_t& copy) noexcept {
    return DuplicateBetween(::GetCurrentProcess(), handle, ::GetCurrentProcess(), copy);
}

void Win32HandleTransfer::Close(handle_t handle) noexcept { ::CloseHandle(ToSystem(handle)); }

}  // namespace remote
