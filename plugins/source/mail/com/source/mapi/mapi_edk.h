#pragma once

// Finds the MAPI library of the installed Outlook and loads it. Nothing is linked against MAPI.

#include <memory>

#include "mapi/mapi_functions.h"
#include "vek/platform/library_loader.h"
#include "vek/platform/registry.h"
#include "vek/trace/tracer.h"

namespace plugins::mapi {

// The parts of the system that loading uses. They outlive the loaded table.
struct MapiEnvironment {
    vek::platform::LibraryLoader& libraries = vek::platform::TheLibraryLoader();
    vek::platform::Registry& registry = vek::platform::TheRegistry();
    vek::trace::TracerPtr tracer = vek::trace::ProcessTracer();
};

// Loads the library and fills the table; the library stays loaded as long as the table is shared.
// Raises helpers::HResultCodeException for what the system refuses, vek::ResultCodeException for
// a function that the library does not have.
std::shared_ptr<const MapiFunctions> LoadMapi(const MapiEnvironment& environment = {});

// Initialises MAPI for the calling thread. Outlook is the default mail client meanwhile, for MAPI
// would otherwise hand over to another; the client that was the default is put back, however it
// ends. Raises helpers::HResultCodeException.
void InitializeMapi(const MapiFunctions& functions, const MapiEnvironment& environment = {});

}  // namespace plugins::mapi
