#pragma once

#include "vek/platform/system_error.h"

namespace vek::platform {

// The Win32 number nearest to `error`, a value of errno.
system_error_t FromErrno(int error) noexcept;

// Makes `error` the thread's last error and gives its Win32 number.
system_error_t FailWith(int error) noexcept;

}  // namespace vek::platform
