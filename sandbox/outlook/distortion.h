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
    // What GetProps gives: values and their number. Memory stays the chain of the first value.
    std::function<void(SPropValue* values, ULONG& count)> values = {};
    // A row that QueryRows gives. Its buffer is not freed for it when it lets go of lpProps.
    std::function<void(SRow& row)> row = {};
    // What Stat gives as the size of a stream.
    std::function<void(std::uint64_t& size)> stream_size = {};
    // Reads in place of a stream: fills the buffer and gives the count, which may be a lie.
    std::function<std::optional<ULONG>(std::span<std::byte> buffer)> stream_read = {};
};

}  // namespace sandbox::outlook
