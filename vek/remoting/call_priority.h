#pragma once

#include <cstdint>

#include "vek/serialization/reader.h"
#include "vek/serialization/writer.h"

namespace vek::remoting {

// How urgent a call is to its caller; one byte on the wire.
enum class CallPriority : std::uint8_t { kLow = 0, kNormal = 1, kHigh = 2 };

void SerializeToRope(serialization::Writer& writer, CallPriority priority);

// kInvalidArgument in the reader for what is no priority.
CallPriority DeserializeFromRope(serialization::Reader& reader) noexcept;

// The priority of the calls that this thread makes: kNormal, or that of the scope it is in. A call
// that carries a priority is served in a scope of it, so that calls made in its course inherit it.
CallPriority CurrentCallPriority() noexcept;

class CallPriorityScope {
public:
    explicit CallPriorityScope(CallPriority priority) noexcept;
    ~CallPriorityScope();
    CallPriorityScope(const CallPriorityScope&) = delete;
    CallPriorityScope& operator=(const CallPriorityScope&) = delete;

private:
    CallPriority outer_;
};

}  // namespace vek::remoting
