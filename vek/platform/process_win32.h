#pragma once

#include <cstdint>

#include "vek/platform/handle_win32.h"

namespace vek::platform {

// Opens a process: whoever opens one does it here. Null when there is none or the system refuses,
// as ::GetLastError says. Between a user's process and a service's it always refuses.
UniqueHandle OpenProcessById(std::uint32_t process_id, DWORD access) noexcept;

}  // namespace vek::platform
