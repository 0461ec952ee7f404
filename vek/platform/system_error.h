#pragma once

#include <cstdint>

#include "vek/core/result.h"

namespace vek::platform {

// A failure of the operating system in Win32 numbers; zero is success. Other systems' numbers
// are translated to the nearest of them (Microsoft's "System Error Codes").
using system_error_t = std::uint32_t;

namespace system_error {
inline constexpr system_error_t kNone = 0;
inline constexpr system_error_t kFileNotFound = 2;  // ERROR_FILE_NOT_FOUND
inline constexpr system_error_t kTooManyOpenFiles = 4;
inline constexpr system_error_t kAccessDenied = 5;
inline constexpr system_error_t kInvalidHandle = 6;
inline constexpr system_error_t kNotEnoughMemory = 8;
inline constexpr system_error_t kInvalidData = 13;
inline constexpr system_error_t kGenFailure = 31;
inline constexpr system_error_t kInvalidParameter = 87;
inline constexpr system_error_t kModuleNotFound = 126;
inline constexpr system_error_t kProcedureNotFound = 127;
inline constexpr system_error_t kNoMoreItems = 259;
inline constexpr system_error_t kKeyDeleted = 1018;
inline constexpr system_error_t kNoSystemResources = 1450;
inline constexpr system_error_t kUnsupportedType = 1630;
}  // namespace system_error

// The result code of a failure: one of the platform facility.
constexpr result_t ResultOf(system_error_t error) noexcept {
    switch (error) {
        case system_error::kInvalidHandle:
            return result::kInvalidHandle;
        case system_error::kFileNotFound:
            return result::kFileNotFound;
        case system_error::kModuleNotFound:
            return result::kModuleNotFound;
        default:
            return result::kPlatformError;
    }
}

// Gives the error of the calling thread's last failed call of the platform layer: GetLastError on
// Windows, errno translated elsewhere.
system_error_t LastError() noexcept;
void SetLastError(system_error_t error) noexcept;

}  // namespace vek::platform
