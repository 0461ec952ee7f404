#pragma once

// What runs in this module for all of its objects, and when: the trace, the road to the product,
// and who follows the registry.

#include <optional>
#include <string>

#include "private_include/common/settings_watcher.h"
#include "vek/core/ref_ptr.h"

namespace plugins::dll {

// The first object is about to be made, or the first since EndModule: opens the trace where the
// product says there is one, says how the road to the product is made, and has the registry
// followed, which ends with the last object (com::InstanceMark). Any thread.
void StartModule() noexcept;

// Follows what administrators impose; null when nobody does. Any thread.
vek::RefPtr<ISettingsWatcher> PolicyWatcher() noexcept;

// The folder in which the product has the trace, in UTF-8; nothing when it does not say. Any
// thread.
std::optional<std::string> TraceFolder();

// Whether nothing of the module is in use. Then all that it runs has ended: no thread of its own is
// left, and the trace is closed with its footer. Waits for threads, a second at most: not to be
// called on one of the module's own, nor while the system loads or unloads a library.
bool EndModule() noexcept;

}  // namespace plugins::dll
