#pragma once

#include "common/loader/product_loader.h"
#include "vek/trace/tracer.h"

namespace plugins::loader {

// The ProductConnector over the remoting.
ProductConnector RemoteConnector(vek::trace::TracerPtr tracer);

}  // namespace plugins::loader
