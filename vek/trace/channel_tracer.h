#pragma once

#include <atomic>
#include <memory>
#include <string_view>

#include "vek/platform/clock.h"
#include "vek/trace/channel.h"
#include "vek/trace/fixed_line.h"
#include "vek/trace/tracer.h"

namespace vek::trace {

// Writes the lines up to a level to a channel, each as: local time "hh:mm:ss.mmm", thread id in
// decimal, level, text, with tabs between them.
class ChannelTracer final : public Tracer {
public:
    // `clock` outlives the tracer.
    ChannelTracer(std::unique_ptr<Channel> channel, level_t level,
                  platform::Clock& clock = platform::TheClock()) noexcept;

    // From now on lines up to `level` are written. Any thread may call it.
    void SetLevel(level_t level) noexcept { level_.store(level, std::memory_order_relaxed); }

    bool IsEnabled(level_t level) const noexcept override {
        return level <= level_.load(std::memory_order_relaxed);
    }

    void Write(level_t level, std::string_view text) noexcept override;

    // Texts of more than kMaxTriedText bytes are lost.
    void TryWrite(level_t level, std::string_view text) noexcept override;

    static constexpr std::size_t kMaxTriedText = 4096;

private:
    static constexpr std::size_t kPrefixRoom = 40;
    FixedLine<kPrefixRoom> Prefix(level_t level) const;

    std::unique_ptr<Channel> channel_;
    std::atomic<level_t> level_;
    platform::Clock& clock_;
};

}  // namespace vek::trace
