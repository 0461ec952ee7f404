#include "product/state/places.h"

#include <dlfcn.h>

namespace reference_product {

std::filesystem::path ModuleFolder() {
    Dl_info module{};
    if (::dladdr(reinterpret_cast<const void*>(&ModuleFolder), &module) == 0) return {};
    return std::filesystem::path(module.dli_fname).parent_path();
}

std::filesystem::path CommonDataFolder() { return {}; }

std::filesystem::path UserDataFolder() { return {}; }

}  // namespace reference_product
