#pragma once

#include <string_view>

namespace vek::trace {

// Takes trace lines. Any thread may call it; lines of several threads are never mixed.
class Channel {
public:
    virtual ~Channel() = default;

    // Appends one line, its "\r\n" included. What is before is as its writer gave it: it may hold
    // anything, ends of line too. A line that cannot be kept is lost; nothing is raised.
    virtual void Append(std::string_view line) noexcept = 0;
};

}  // namespace vek::trace
