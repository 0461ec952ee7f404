#pragma once

#include "vek/core/service_locator.h"
#include "vek/remoting/describe.h"

namespace vek::remoting {

VEK_REMOTE_INTERFACE(IServiceLocator, (GetInterface, method_attribute::kReadsOnly))

}  // namespace vek::remoting
