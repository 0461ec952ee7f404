#include "remote/packet/handle_transfer_posix.h"

#include <fcntl.h>

#include <cerrno>

#include "vek/platform/errno_posix.h"

namespace remote {

using vek::platform::Descriptor;
using vek::platform::system_error_t;
namespace system_error = vek::platform::system_error;

system_error_t PosixHandleTransfer::ToPeer(handle_t, handle_t&) noexcept {
    return system_error::kInvalidHandle;
}

system_error_t PosixHandleTransfer::FromPeer(std::size_t index, handle_t, handle_t& here) noexcept {
    if (index >= received_.size() || !received_[index]) return system_error::kInvalidHandle;
    here = received_[index].Release();
    return system_error::kNone;
}

system_error_t PosixHandleTransfer::Duplicate(handle_t handle, handle_t& copy) noexcept {
    const int made = ::fcntl(static_cast<int>(handle), F_DUPFD_CLOEXEC, 0);
    if (made < 0) return vek::platform::FailWith(errno);
    copy = made;
    return system_error::kNone;
}

void PosixHandleTransfer::Close(handle_t handle) noexcept {
    Descriptor closed(static_cast<int>(handle));
}

}  // namespace remote
