#pragma once

#include <optional>
#include <string>

#include "vek/platform/registry.h"

namespace plugins::product_info {

// Where the installed product says that its information library is, in UTF-8; nothing when no
// product is installed.
//
// On Windows the value "ProductInfo" of the key "SOFTWARE\QZ\Mail Plugin", the machine's before the
// user's. Elsewhere the environment variable MLXO_PRODUCT_INFO. May be called from any thread.
std::optional<std::string> FindLibraryPlace(vek::platform::Registry& registry);

}  // namespace plugins::product_info
