#pragma once

// The event by which a process says that it can be connected to: it is signalled as long as the
// process listens, and whoever is to connect to it waits for that. Its name follows from the
// process alone, and whoever comes first creates it.

#include <cstdint>
#include <memory>
#include <string>

#include "vek/core/result.h"
#include "vek/platform/event.h"
#include "vek/platform/process.h"
#include "vek/trace/tracer.h"

namespace remote {

enum class EventNamespace {
    kSession,  // known in this logon session
    kGlobal,   // "Global\": known in all of them
};

// Everyone may do everything with the event, those of low integrity too (Microsoft's security
// descriptor definition language): a peer may run as anyone.
inline constexpr char16_t kProcessEventSecurity[] = u"D:(A;;GA;;;WD)S:(ML;;NW;;;LW)";

// Gives the name of the event of the process `process_id`, whose start time is in `start`: the
// namespace, then two FNV-1a hashes in hexadecimal, the first with at least sixteen digits. Both
// begin with the published offset basis. The first is over the start time (8 bytes) and the id (4
// bytes), the second over the id and the start time, all little-endian.
//
// A start that is not known is traced and gives kAccessDenied or kUnexpected.
vek::result_t ProcessEventName(std::uint32_t process_id, const vek::platform::ProcessStart& start,
                               EventNamespace space, const vek::trace::TracerPtr& tracer,
                               std::string& name) noexcept;

// Opens the manual-reset event of a running process, or creates it, not signalled. Gives the codes
// of ProcessEventName, and kAccessDenied or kUnexpected when the system refuses. Windows alone has
// events with names: nothing implements this elsewhere.
vek::result_t OpenProcessEvent(std::uint32_t process_id, EventNamespace space,
                               const vek::trace::TracerPtr& tracer,
                               std::unique_ptr<vek::platform::Event>& event) noexcept;

}  // namespace remote
