#include "vek/trace/channel_tracer.h"

#include <string>
#include <utility>

#include "vek/platform/thread.h"

namespace vek::trace {

ChannelTracer::ChannelTracer(std::unique_ptr<Channel> channel, level_t level,
                             platform::Clock& clock) noexcept
    : channel_(std::move(channel)), level_(level), clock_(clock) {}

void ChannelTracer::Write(level_t level, std::string_view text) noexcept {
    if (!IsEnabled(level)) return;
    const platform::ForcedEndShield shield;  // whoever writes next needs the channel's lock
    try {
        std::string line;
        line.reserve(kPrefixRoom + text.size());
        line += Prefix(level).text();
        line += text;
        line += "\r\n";
        channel_->Append(line);
    } catch (...) {  // NOLINT(bugprone-empty-catch): tracing never disturbs its caller
    }
}

void ChannelTracer::TryWrite(level_t level, std::string_view text) noexcept {
    if (!IsEnabled(level) || text.size() > kMaxTriedText) return;
    const platform::ForcedEndShield shield;
    try {
        const FixedLine<kPrefixRoom + kMaxTriedText> line(Prefix(level).text(), text, "\r\n");
        channel_->TryAppend(line.text());
    } catch (...) {  // NOLINT(bugprone-empty-catch): tracing never disturbs its caller
    }
}

FixedLine<ChannelTracer::kPrefixRoom> ChannelTracer::Prefix(level_t level) const {
    std::string time;  // short enough to need no memory
    platform::AppendTimeOfDay(time, platform::ToCalendar(clock_.ToLocal(clock_.UtcNow())));
    return FixedLine<kPrefixRoom>(time, "\t", platform::CurrentThreadId(), "\t", level, "\t");
}

}  // namespace vek::trace
