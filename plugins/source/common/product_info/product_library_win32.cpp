#include "common/product_info/product_library.h"

namespace plugins::product_info {

std::optional<std::string> ProductLibraryPath(vek::platform::Registry& registry) {
    using vek::platform::RegistryRoot;
    for (const RegistryRoot root : {RegistryRoot::kLocalMachine, RegistryRoot::kCurrentUser}) {
        std::string path;
        const auto error =
            registry.ReadText(root, "SOFTWARE\\QZ\\Mail Plugin", "ProductInfo", path);
        if (error == vek::platform::system_error::kNone && !path.empty()) return path;
    }
    return std::nullopt;
}

}  // namespace plugins::product_info
