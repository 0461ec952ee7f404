#pragma once

#include <atomic>
#include <cstdint>

namespace remote {

// Counts a request for as long as it is served.
class ScopedCount {
public:
    explicit ScopedCount(std::atomic<std::uint32_t>& count) noexcept : count_(count), value_(++count) {}
    ~ScopedCount() { --count_; }
    ScopedCount(const ScopedCount&) = delete;
    ScopedCount& operator=(const ScopedCount&) = delete;

    // This one included.
    std::uint32_t value() const noexcept { return value_; }

private:
    std::atomic<std::uint32_t>& count_;
    const std::uint32_t value_;
};

}  // namespace remote
