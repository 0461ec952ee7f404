#include "product/state/places.h"

namespace reference_product {

std::filesystem::path CommonDataFolder() { return {}; }

std::filesystem::path UserDataFolder() { return {}; }

}  // namespace reference_product
