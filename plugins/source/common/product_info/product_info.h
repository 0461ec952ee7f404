#pragma once

// What the product says about itself.

#include <optional>
#include <string>
#include <string_view>

namespace plugins::product_info {

// The values that the plug-in reads.
inline constexpr std::string_view kTraceRoot = "TraceRoot";  // the folder of trace files
inline constexpr std::string_view kDataRoot = "DataRoot";    // the folder of the product's data

// Answers for an installed product. May be called from any thread.
class ProductInfo {
public:
    virtual ~ProductInfo() = default;

    // The value of `name` as the product keeps it, in UTF-8; nothing when the product does not
    // say.
    virtual std::optional<std::string> Value(std::string_view name) const = 0;
};

// `root` with a "%QZAppData%" at its very beginning replaced by the environment variable
// QZAppData; anything else is kept as it is. Nothing when the variable is needed but not set, or
// empty.
std::optional<std::string> ExpandRoot(std::string_view root);

// The folder that the value `name` of `info` names, expanded. Nothing when it is not known.
std::optional<std::string> Folder(const ProductInfo& info, std::string_view name);

}  // namespace plugins::product_info
