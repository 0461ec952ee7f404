#include "vek/platform/system_error.h"

#include <windows.h>

namespace vek::platform {

system_error_t LastError() noexcept { return ::GetLastError(); }

void SetLastError(system_error_t error) noexcept { ::SetLastError(error); }

}  // namespace vek::platform
