#pragma once

// The limit of streams to clamd in this process.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>

namespace reference_product {

// Counts streams. Any thread may call it; it must outlive its slots.
class StreamLimit {
public:
    explicit StreamLimit(std::size_t most) noexcept : free_(static_cast<std::ptrdiff_t>(most)) {}

    struct GiveBack {
        void operator()(StreamLimit* limit) const noexcept { limit->Free(); }
    };
    // The right to one stream.
    using Slot = std::unique_ptr<StreamLimit, GiveBack>;

    // Waits for a free slot; null when there is none until `deadline`.
    Slot TakeUntil(std::chrono::steady_clock::time_point deadline) {
        std::unique_lock guard(lock_);
        if (!freed_.wait_until(guard, deadline, [this] { return free_ > 0; })) return nullptr;
        --free_;
        return Slot(this);
    }
    // Takes a slot, if need be beyond the limit.
    Slot Take() {
        const std::lock_guard guard(lock_);
        --free_;
        return Slot(this);
    }

private:
    void Free() noexcept {
        const std::lock_guard guard(lock_);
        if (++free_ > 0) freed_.notify_one();
    }

    std::mutex lock_;  // guards what follows
    std::condition_variable freed_;
    std::ptrdiff_t free_;
};

}  // namespace reference_product
