#include "vek/trace/channel_tracer.h"

#include <string>
#include <utility>

#include "vek/platform/thread.h"
#include "vek/trace/line.h"

namespace vek::trace {

ChannelTracer::ChannelTracer(std::unique_ptr<Channel> channel, level_t level,
                             platform::Clock& clock) noexcept
    : channel_(std::move(channel)), level_(level), clock_(clock) {}

void ChannelTracer::Write(level_t level, std::string_view text) noexcept {
    if (!IsEnabled(level)) return;
    const platform::ForcedEndShield shield;  // whoever writes next needs the channel's lock
    try {
        constexpr std::size_t kPrefixRoom = 40;
        std::string line;
        line.reserve(kPrefixRoom + text.size());
        platform::AppendTimeOfDay(line, platform::ToCalendar(clock_.ToLocal(clock_.UtcNow())));
        line += '\t';
        AppendPiece(line, platform::CurrentThreadId());
        line += '\t';
        AppendPiece(line, level);
        line += '\t';
        line += text;
        line += "\r\n";
        channel_->Append(line);
    } catch (...) {  // NOLINT(bugprone-empty-catch): tracing never disturbs its caller
    }
}

}  // namespace vek::trace
