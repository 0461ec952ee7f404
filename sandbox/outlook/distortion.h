#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "mapi/mapi_interfaces.h"

namespace sandbox::outlook {

// Turns right answers into wrong ones, as a broken or hostile store gives them; empty functions
// leave them right. Set while no call is under way; called on the threads of the calls.
struct Distortion {
    // Changes the values that GetProps gives, and their number. Memory stays the chain of the first
    // value.
    std::function<void(SPropValue* values, ULONG& count)> values = {};
    // Changes a row that QueryRows gives. It frees the buffer itself if it clears lpProps.
    std::function<void(SRow& row)> row = {};
    // Changes the size that Stat gives for a stream.
    std::function<void(std::uint64_t& size)> stream_size = {};
    // Reads in place of a stream: fills the buffer and gives the count, which may be a lie.
    std::function<std::optional<ULONG>(std::span<std::byte> buffer)> stream_read = {};
};

}  // namespace sandbox::outlook
