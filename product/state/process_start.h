#pragma once

#include <cstdint>
#include <optional>

namespace reference_product {

// Gives the start of the process `id` in units of the system's own, which tell it from a later
// process with the same id. Nothing when no such process runs; one that has ended but is still
// known to the system does not run.
std::optional<std::uint64_t> ProcessStart(std::uint32_t id);

}  // namespace reference_product
