#include "product/product_info/service_state.h"

namespace reference_product {

std::optional<std::uint32_t> ProcessOfService(const std::string&) noexcept { return std::nullopt; }

}  // namespace reference_product
