#include "vek/remoting/call_priority.h"

namespace vek::remoting {
namespace {

thread_local CallPriority current_priority = CallPriority::kNormal;

}  // namespace

void SerializeToRope(serialization::Writer& writer, CallPriority priority) {
    writer.Write(static_cast<std::uint8_t>(priority));
}

CallPriority DeserializeFromRope(serialization::Reader& reader) noexcept {
    const auto value = reader.Read<std::uint8_t>();
    if (value > static_cast<std::uint8_t>(CallPriority::kHigh)) {
        reader.Fail(result::kInvalidArgument);
        return CallPriority::kNormal;
    }
    return static_cast<CallPriority>(value);
}

CallPriority CurrentCallPriority() noexcept { return current_priority; }

CallPriorityScope::CallPriorityScope(CallPriority priority) noexcept : outer_(current_priority) {
    current_priority = priority;
}

CallPriorityScope::~CallPriorityScope() { current_priority = outer_; }

}  // namespace vek::remoting
