#include "common/product_info/product_info.h"

#include "vek/platform/environment.h"

namespace plugins::product_info {

std::optional<std::string> ExpandRoot(std::string_view root) {
    constexpr std::string_view kVariable = "%QZAppData%";
    if (!root.starts_with(kVariable)) return std::string(root);

    std::optional<std::string> folder = vek::platform::GetEnvironment("QZAppData");
    if (!folder || folder->empty()) return std::nullopt;
    *folder += root.substr(kVariable.size());
    return folder;
}

std::optional<std::string> Folder(const ProductInfo& info, std::string_view name) {
    const std::optional<std::string> root = info.Value(name);
    return root ? ExpandRoot(*root) : std::nullopt;
}

}  // namespace plugins::product_info
