#include "vek/trace/repeat_limiter.h"

#include <mutex>

#include "vek/trace/line.h"

namespace vek::trace {
namespace {

constexpr std::uint32_t kSecond = 1000;

// Ever new texts are not to fill the memory.
constexpr std::size_t kMaxTexts = 64;

}  // namespace

RepeatLimiter::RepeatLimiter(TracerPtr tracer, platform::Clock& clock) noexcept
    : tracer_(std::move(tracer)), clock_(clock), began_(clock.TickCount()) {}

RepeatLimiter::~RepeatLimiter() { WriteCounts(repeats_); }

void RepeatLimiter::Write(level_t level, std::string_view text) noexcept {
    if (!IsEnabled(level)) return;
    Repeats over;
    bool repeat = false;
    try {
        repeat = IsRepeat(level, text, over);
    } catch (...) {  // NOLINT(bugprone-empty-catch): what cannot be counted is written
    }
    WriteCounts(over);
    if (!repeat) tracer_->Write(level, text);
}

// Counts the line; gives in `over` the counts of the time before.
bool RepeatLimiter::IsRepeat(level_t level, std::string_view text, Repeats& over) {
    const std::lock_guard guard(lock_);
    const std::uint32_t now = clock_.TickCount();
    if (const std::uint32_t passed = now - began_; passed >= kSecond) {
        many_ = lines_ >= kManyLines && passed < 2 * kSecond;
        began_ = now;
        lines_ = 0;
        over.swap(repeats_);
        // What goes on to repeat stays known.
        if (many_) {
            for (const auto& [line, count] : over)
                if (count != 0) repeats_.emplace(line, 0);
        }
    }
    ++lines_;
    if (!many_ && lines_ < kManyLines) return false;
    if (repeats_.size() >= kMaxTexts && over.empty()) over.swap(repeats_);
    const auto [line, is_new] = repeats_.try_emplace({level, std::string(text)});
    if (!is_new) ++line->second;
    return !is_new;
}

void RepeatLimiter::WriteCounts(const Repeats& repeats) noexcept {
    for (const auto& [line, count] : repeats) {
        if (count != 0) WriteTaken(tracer_, line.first, count, " times more: ", line.second);
    }
}

TracerPtr LimitRepeats(TracerPtr tracer) {
    if (tracer == nullptr) return nullptr;
    return std::make_shared<RepeatLimiter>(std::move(tracer));
}

}  // namespace vek::trace
