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

    // As Append, for who reports a crash: nothing is allocated or waited for. A line for which that
    // would be needed is lost, and so is every line of a channel that does not say otherwise.
    virtual void TryAppend(std::string_view /*line*/) noexcept {}
};

}  // namespace vek::trace
