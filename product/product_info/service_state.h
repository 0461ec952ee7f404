#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace reference_product {

// Asks the service control manager for the process of a service, which every user may. Nothing
// unless the service runs; one that starts or stops does not. Waits for nothing. Any thread.
std::optional<std::uint32_t> ProcessOfService(const std::string& name) noexcept;

}  // namespace reference_product
