#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>

#include "vek/trace/channel.h"

namespace vek::trace {

// Keeps the last lines in memory. Any thread may call the operations.
class MemoryChannel final : public Channel {
public:
    // Keeps lines of at most `max_size` bytes together; older ones are dropped.
    explicit MemoryChannel(std::size_t max_size) noexcept : max_size_(max_size) {}

    void Append(std::string_view line) noexcept override;

    // Gives a line that announces this channel, the lines kept, and a line that ends the output.
    std::string Text() const;

private:
    mutable std::mutex mutex_;
    const std::size_t max_size_;
    std::size_t size_ = 0;
    std::deque<std::string> lines_;
};

}  // namespace vek::trace
