#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "vek/platform/clock.h"
#include "vek/platform/lock.h"
#include "vek/trace/tracer.h"

namespace vek::trace {

// Writes the lines of one connection to the tracer behind it, and keeps a peer from filling the
// trace with one text: from kManyLines lines a second on, for as long as there are so many, repeats
// of a text are counted. The count is written a second later at the earliest, with the next line or
// at the end.
class RepeatLimiter final : public Tracer {
public:
    static constexpr std::uint32_t kManyLines = 100;

    // `tracer` is not null; `clock` outlives this.
    explicit RepeatLimiter(TracerPtr tracer,
                           platform::Clock& clock = platform::TheClock()) noexcept;
    ~RepeatLimiter() override;

    bool IsEnabled(level_t level) const noexcept override { return tracer_->IsEnabled(level); }
    void Write(level_t level, std::string_view text) noexcept override;

private:
    using Repeats = std::map<std::pair<level_t, std::string>, std::uint64_t>;

    bool IsRepeat(level_t level, std::string_view text, Repeats& over);
    void WriteCounts(const Repeats& repeats) noexcept;

    const TracerPtr tracer_;
    platform::Clock& clock_;

    platform::RecursiveLock lock_;  // guards what follows; not held while the tracer writes
    std::uint32_t began_ = 0;       // the second, in ticks of the clock
    std::uint32_t lines_ = 0;       // in that second
    bool many_ = false;             // since a second before
    Repeats repeats_;               // of each text that was written since there are so many
};

// The tracer of one connection: null when `tracer` is.
TracerPtr LimitRepeats(TracerPtr tracer);

}  // namespace vek::trace
