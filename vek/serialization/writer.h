#pragma once

#include <concepts>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

#include "vek/serialization/bytes.h"

namespace vek::serialization {

// Collects bytes to be sent. Short ones are copied together; a long range is kept as a view, so
// that it goes from its owner to the transport without a copy. Operations raise std::bad_alloc.
class Writer {
public:
    // Ranges from this length on are viewed: below, a copy costs less than a piece of its own.
    static constexpr std::size_t kViewedFrom = 1024;

    template <class Number>
    requires(std::integral<Number> && !std::same_as<Number, bool>) void Write(Number number) {
        Copy(&number, sizeof number);
    }

    // Copied.
    void WriteBytes(bytes_t bytes) { Copy(bytes.data(), bytes.size()); }

    // Copied or viewed: `bytes` must stay as they are as long as the writer is used.
    void WriteRange(bytes_t bytes);

    std::uint64_t size() const noexcept { return size_; }

    // What was written, in order. Valid until the next write.
    std::span<const bytes_t> Pieces();

private:
    struct Viewed {
        std::size_t copied_before;  // how much of copied_ goes before it
        bytes_t bytes;
    };

    void Copy(const void* data, std::size_t size);

    std::vector<std::byte> copied_;
    std::vector<Viewed> viewed_;
    std::vector<bytes_t> pieces_;
    std::uint64_t size_ = 0;
};

}  // namespace vek::serialization
