#pragma once

#include "common/loader/product_loader.h"
#include "common/loader/service_access.h"
#include "vek/trace/tracer.h"

namespace plugins::loader {

// The ProductConnector over the remoting. Where the address names the product's process, no other
// is talked to.
ProductConnector RemoteConnector(vek::trace::TracerPtr tracer);

// The loader of the installed product, whose services outlive the product's process.
LoaderFactory ProductLoaderFactory(product_info::LibraryEnvironment environment);

}  // namespace plugins::loader
