#include <dlfcn.h>

#include "vek/platform/module_folder.h"

namespace vek::platform {

std::filesystem::path ModuleFolder() {
    Dl_info module{};
    if (::dladdr(reinterpret_cast<const void*>(&ModuleFolder), &module) == 0) return {};
    return std::filesystem::path(module.dli_fname).parent_path();
}

}  // namespace vek::platform
