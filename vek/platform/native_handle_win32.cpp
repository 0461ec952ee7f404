#include <windows.h>

#include "vek/platform/native_handle.h"

namespace vek::platform {

void CloseNativeHandle(std::intptr_t handle) noexcept {
    ::CloseHandle(reinterpret_cast<HANDLE>(handle));
}

}  // namespace vek::platform
