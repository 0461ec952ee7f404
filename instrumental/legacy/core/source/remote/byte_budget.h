#pragma once

#include <atomic>
#include <cstdint>

#include "remote/transport.h"

namespace remote {

// The most that the packets of one peer that are being received or served may be together. It is
// lost when it sends more.
inline constexpr std::uint64_t kMaxHeldBytes = 2 * kMaxPacketSize;

// A packet up to this long is not counted: their number is limited. The longest that calls of
// interfaces bring, 1 MiB and what is around it, stay below.
inline constexpr std::uint64_t kUnclaimedSize = (std::uint64_t{1} << 20) + (std::uint64_t{4} << 10);

// How much of it is in use. Any thread.
using ByteBudget = std::atomic<std::uint64_t>;

// A packet's part of a peer's budget, which must outlive it. One thread at a time.
class ByteClaim {
public:
    explicit ByteClaim(ByteBudget* budget = nullptr) noexcept : budget_(budget) {}
    ~ByteClaim() {
        if (size_ != 0) *budget_ -= size_;
    }
    ByteClaim(const ByteClaim&) = delete;
    ByteClaim& operator=(const ByteClaim&) = delete;

    // Makes this part `size`. False, and nothing is changed, when the
    // budget does not allow it.
    bool Grow(std::uint64_t size) noexcept {
        if (budget_ == nullptr) return true;
        const std::uint64_t more = size - size_;
        if (budget_->fetch_add(more) + more > kMaxHeldBytes) {
            *budget_ -= more;
            return false;
        }
        size_ = size;
        return true;
    }

private:
    ByteBudget* const budget_;
    std::uint64_t size_ = 0;
};

}  // namespace remote
