#include "vek/trace/memory_channel.h"

#include <new>
#include <string_view>

namespace vek::trace {

void MemoryChannel::Append(std::string_view line) noexcept {
    if (line.size() > max_size_) return;
    try {
        const std::lock_guard lock(mutex_);
        lines_.emplace_back(line);
        size_ += line.size();
        while (size_ > max_size_) {
            size_ -= lines_.front().size();
            lines_.pop_front();
        }
    } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): the line is lost
    }
}

std::string MemoryChannel::Text() const {
    constexpr std::string_view kAnnouncement =
        "This is memory trace (vek::trace::MemoryChannel)\r\n";
    constexpr std::string_view kEnd = "End of trace\r\n";

    const std::lock_guard lock(mutex_);
    std::string text;
    text.reserve(kAnnouncement.size() + size_ + kEnd.size());
    text += kAnnouncement;
    for (const std::string& line : lines_) text += line;
    text += kEnd;
    return text;
}

}  // namespace vek::trace
