#include "vek/remoting/call_priority.h"

#include "vek/platform/thread_value.h"

namespace vek::remoting {
namespace {

// Zero, as each thread has it at first, is none said.
platform::ThreadValue<std::uint32_t> said_priority;

std::uint32_t Said(CallPriority priority) noexcept {
    return static_cast<std::uint32_t>(priority) + 1;
}

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

CallPriority CurrentCallPriority() noexcept {
    const std::uint32_t said = said_priority.Get();
    return said == 0 ? CallPriority::kNormal : static_cast<CallPriority>(said - 1);
}

CallPriorityScope::CallPriorityScope(CallPriority priority) noexcept
    : outer_(CurrentCallPriority()) {
    said_priority.Set(Said(priority));
}

CallPriorityScope::~CallPriorityScope() { said_priority.Set(Said(outer_)); }

}  // namespace vek::remoting
