#include <cerrno>

#include "vek/platform/errno_posix.h"

namespace vek::platform {
namespace {

thread_local system_error_t last_error = system_error::kNone;

}  // namespace

system_error_t LastError() noexcept { return last_error; }

void SetLastError(system_error_t error) noexcept { last_error = error; }

system_error_t FromErrno(int error) noexcept {
    switch (error) {
        case 0:
            return system_error::kNone;
        case ENOENT:
        case ENOTDIR:
            return system_error::kFileNotFound;
        case EMFILE:
        case ENFILE:
            return system_error::kTooManyOpenFiles;
        case EACCES:
        case EPERM:
        case EROFS:
            return system_error::kAccessDenied;
        case EBADF:
            return system_error::kInvalidHandle;
        case ENOMEM:
            return system_error::kNotEnoughMemory;
        case EINVAL:
        case ENAMETOOLONG:
            return system_error::kInvalidParameter;
        case EAGAIN:
            return system_error::kNoSystemResources;
        default:
            return system_error::kGenFailure;
    }
}

system_error_t FailWith(int error) noexcept {
    last_error = FromErrno(error);
    return last_error;
}

}  // namespace vek::platform
