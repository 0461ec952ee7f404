#pragma once

#include <cstddef>

namespace tests {

// Watches the allocations that the current thread makes with operator new while it lives: counts
// them, and makes the one numbered `failing` (from 1) fail. One at a time in a thread.
class AllocationProbe {
public:
    static constexpr std::size_t kNone = 0;

    explicit AllocationProbe(std::size_t failing = kNone) noexcept;
    ~AllocationProbe();
    AllocationProbe(const AllocationProbe&) = delete;
    AllocationProbe& operator=(const AllocationProbe&) = delete;

    // How many there were, the failed one included.
    std::size_t count() const noexcept;
};

}  // namespace tests
