#pragma once

#include "common/loader/service_access.h"
#include "private_include/common/settings_watcher.h"
#include "settings/product_settings_provider.h"
#include "vek/platform/clock.h"
#include "vek/platform/registry.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// What the options pages need of their process. References outlive the pages.
struct PageEnvironment {
    loader::ServiceAccess& services = loader::ProcessServices();
    SettingsMemory& settings = TheSettingsMemory();
    vek::platform::Clock& clock = vek::platform::TheClock();
    vek::platform::Registry& registry = vek::platform::TheRegistry();
    vek::trace::TracerPtr tracer = vek::trace::ProcessTracer();
    vek::RefPtr<ISettingsWatcher> policy = {};  // has a page look at once; may be null
};

}  // namespace plugins::mail_processing
