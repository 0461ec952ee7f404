#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "vek/trace/tracer.h"

namespace tests {

// Keeps every line that it takes, as "level text".
class RecordingTracer final : public vek::trace::Tracer {
public:
    explicit RecordingTracer(vek::trace::level_t limit = vek::trace::level::kDetail)
        : limit_(limit) {}

    bool IsEnabled(vek::trace::level_t level) const noexcept override { return level <= limit_; }
    void Write(vek::trace::level_t level, std::string_view text) noexcept override {
        const std::lock_guard guard(lock_);
        lines_.push_back(std::to_string(level) + " " + std::string(text));
    }

    std::vector<std::string> lines() const {
        const std::lock_guard guard(lock_);
        return lines_;
    }

    // How many lines hold `part`.
    std::size_t Count(std::string_view part) const {
        const std::lock_guard guard(lock_);
        std::size_t count = 0;
        for (const std::string& line : lines_) count += line.find(part) != std::string::npos;
        return count;
    }

private:
    const vek::trace::level_t limit_;
    mutable std::mutex lock_;
    std::vector<std::string> lines_;
};

}  // namespace tests
