#include <dlfcn.h>

#include "product/product_info/module_folder.h"

namespace reference_product {

std::filesystem::path ModuleFolder() {
    Dl_info module{};
    if (::dladdr(reinterpret_cast<const void*>(&ModuleFolder), &module) == 0) return {};
    return std::filesystem::path(module.dli_fname).parent_path();
}

}  // namespace reference_product
