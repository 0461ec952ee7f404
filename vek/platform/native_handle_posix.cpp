#include <unistd.h>

#include "vek/platform/native_handle.h"

namespace vek::platform {

void CloseNativeHandle(std::intptr_t handle) noexcept { ::close(static_cast<int>(handle)); }

}  // namespace vek::platform
