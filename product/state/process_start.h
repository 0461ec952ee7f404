#pragma once

#include <cstdint>
#include <optional>

namespace reference_product {

// When the process `id` was started, in a count of the system's own: with it a process is told from
// a later one that was given the same id. Nothing when there is no such process, or it has ended.
std::optional<std::uint64_t> ProcessStart(std::uint32_t id);

}  // namespace reference_product
