#pragma once

// The tracer's interface, the levels, and the process's own tracer.

#include <cstdint>
#include <memory>
#include <string_view>

namespace vek::trace {

// Lower is more important.
using level_t = std::uint32_t;

namespace level {
inline constexpr level_t kFact = 100;   // process-level facts
inline constexpr level_t kError = 300;  // errors and caught exceptions
inline constexpr level_t kWarning = 500;
inline constexpr level_t kRemoting = 600;  // the remoting layer's own progress
inline constexpr level_t kDetail = 700;    // routine decisions and progress
inline constexpr level_t kRemotingDetail = 800;
}  // namespace level

// Decides by level whether a line is written at all. Any thread may call it; nothing is raised.
class Tracer {
public:
    virtual ~Tracer() = default;

    // Tells whether a line of this level would be written. Ask before building a text, or use
    // Write of line.h, which does.
    virtual bool IsEnabled(level_t level) const noexcept = 0;

    // Appends one line. `text` is UTF-8 without an end of line. A level that is not enabled
    // writes nothing.
    virtual void Write(level_t level, std::string_view text) noexcept = 0;

    // As Write, for who reports a crash: nothing is allocated or waited for. A line for which that
    // would be needed is lost, and so is every line of a tracer that does not say otherwise.
    virtual void TryWrite(level_t /*level*/, std::string_view /*text*/) noexcept {}
};

// Empty when no tracer is configured; then no level is enabled.
using TracerPtr = std::shared_ptr<Tracer>;

inline bool IsEnabled(const TracerPtr& tracer, level_t level) noexcept {
    return tracer != nullptr && tracer->IsEnabled(level);
}

// The process-wide tracer, empty until set. Objects take it when they are built.
TracerPtr ProcessTracer() noexcept;
void SetProcessTracer(TracerPtr tracer) noexcept;

}  // namespace vek::trace
