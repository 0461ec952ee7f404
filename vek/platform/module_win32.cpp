#include "vek/platform/module_win32.h"

namespace vek::platform {

ModuleHold ModuleHold::Take() noexcept {
    static const char inside = 0;
    ModuleHold hold;
    ::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, &inside, &hold.module_);
    return hold;
}

}  // namespace vek::platform
