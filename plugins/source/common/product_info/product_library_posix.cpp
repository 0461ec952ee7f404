#include "common/product_info/product_library.h"
#include "vek/platform/environment.h"

namespace plugins::product_info {

std::optional<std::string> ProductLibraryPath(vek::platform::Registry&) {
    std::optional<std::string> path = vek::platform::GetEnvironment("MLXO_PRODUCT_INFO");
    if (path && path->empty()) path.reset();
    return path;
}

}  // namespace plugins::product_info
