#pragma once

#include <functional>
#include <memory>

#include "common/loader/service_access.h"
#include "settings/product_settings_provider.h"
#include "vek/platform/clock.h"
#include "vek/platform/registry.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// Has a function called, on any thread, whenever the product's policy may have changed, while what
// is given back is held. It may be called for the last time a little later.
using FollowPolicy = std::function<std::shared_ptr<void>(std::function<void()>)>;

// What the options pages need of their process. References outlive the pages.
struct PageEnvironment {
    loader::ServiceAccess& services = loader::ProcessServices();
    SettingsMemory& settings = TheSettingsMemory();
    vek::platform::Clock& clock = vek::platform::TheClock();
    vek::platform::Registry& registry = vek::platform::TheRegistry();
    vek::trace::TracerPtr tracer = vek::trace::ProcessTracer();
    FollowPolicy follow_policy = {};  // may be empty
};

}  // namespace plugins::mail_processing
