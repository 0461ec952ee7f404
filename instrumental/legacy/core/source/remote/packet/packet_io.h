#pragma once

// The primitives that packets are written and read with. `buffer` is the cursor and `size` what
// remains from there on. When that is less than the item needs they give kBufferTooSmall, and
// nothing is written or consumed.
//
// REMOTE_RETURN_IF_FAILED is for their callers.

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstring>

#include "vek/core/result.h"
#include "vek/trace/line.h"

namespace remote {

static_assert(std::endian::native == std::endian::little, "packets are copied as they stand");

// The usual widths are a single load and store each.
inline void CopyItem(void* to, const void* from, std::size_t count) noexcept {
    switch (count) {
        case 0:  // the pointers may be null
            return;
        case 1:
            std::memcpy(to, from, 1);
            return;
        case 2:
            std::memcpy(to, from, 2);
            return;
        case 4:
            std::memcpy(to, from, 4);
            return;
        case 8:
            std::memcpy(to, from, 8);
            return;
        default:
            std::memcpy(to, from, count);
    }
}

inline vek::result_t WriteToBuffer(std::byte*& buffer, std::size_t& size, const void* bytes,
                                   std::size_t count) noexcept {
    if (size < count) return vek::result::kBufferTooSmall;
    CopyItem(buffer, bytes, count);
    buffer += count;
    size -= count;
    return vek::result::kOk;
}

// The `count` low bytes of `value`.
template <std::unsigned_integral Number>
vek::result_t WriteToBuffer(std::byte*& buffer, std::size_t& size, const Number& value,
                            std::size_t count) noexcept {
    return WriteToBuffer(buffer, size, static_cast<const void*>(&value), count);
}

inline vek::result_t ReadFromBuffer(const std::byte*& buffer, std::size_t& size, void* bytes,
                                    std::size_t count) noexcept {
    if (size < count) return vek::result::kBufferTooSmall;
    CopyItem(bytes, buffer, count);
    buffer += count;
    size -= count;
    return vek::result::kOk;
}

template <std::unsigned_integral Number>
vek::result_t ReadFromBuffer(const std::byte*& buffer, std::size_t& size, Number& value) noexcept {
    return ReadFromBuffer(buffer, size, &value, sizeof value);
}

}  // namespace remote

// Evaluates `statement`, which gives a result code. A failure is traced, with the statement as it
// is written here, and returned. A macro, since nothing else knows the text of its argument.
#define REMOTE_RETURN_IF_FAILED(tracer, statement)                                               \
    do {                                                                                         \
        if (const vek::result_t statement_result = (statement); vek::Failed(statement_result)) { \
            vek::trace::WriteFailedStatement((tracer), #statement, statement_result);            \
            return statement_result;                                                             \
        }                                                                                        \
    } while (false)
