#pragma once

#include <cstddef>
#include <cstdint>

#include "vek/platform/system_error.h"

namespace remote {

// A kernel handle as the system gives it: a HANDLE on Windows, a descriptor elsewhere.
using handle_t = std::intptr_t;

// A handle from its value in a packet. Handles have 32 significant bits; those of the system's own
// pseudo handles are negative.
constexpr handle_t ToHandle(std::uint32_t value) noexcept {
    return static_cast<std::int32_t>(value);
}

// Takes kernel handles across the process border for one packet. A seam: a test passes one that
// fails. The operations that can fail give kNone or why.
class HandleTransfer {
public:
    virtual ~HandleTransfer() = default;

    // Makes `handle` of this process usable in the peer, with the same access and not inheritable.
    // `in_peer` is its value there.
    virtual vek::platform::system_error_t ToPeer(handle_t handle, handle_t& in_peer) noexcept = 0;

    // Fetches the peer's own handle `value`, the packet's `index`th. The caller owns `here`.
    virtual vek::platform::system_error_t FromPeer(std::size_t index, handle_t value,
                                                   handle_t& here) noexcept = 0;

    // A private duplicate of a handle of this process, which the caller owns.
    virtual vek::platform::system_error_t Duplicate(handle_t handle, handle_t& copy) noexcept = 0;

    virtual void Close(handle_t handle) noexcept = 0;

    // Closes what ToPeer has made in the peer.
    virtual void CloseInPeer(handle_t in_peer) noexcept = 0;

    // Whether the peer can make its handles usable here by itself. When it cannot, a packet that
    // says it has is not believed: the value would be some handle of this process's own.
    virtual bool PeerCanPush() const noexcept { return true; }
};

}  // namespace remote
