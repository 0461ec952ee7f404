#pragma once

#include <string>

#include "mapi/mapi_edk.h"

namespace plugins::mapi {

// The path of the MAPI library that the installed Outlook has recorded, with the prefix that
// lifts the length limit of paths. Raises helpers::HResultCodeException, or
// vek::ResultCodeException kNotFound when the record leads nowhere.
std::string FindMapiLibrary(const MapiEnvironment& environment);

}  // namespace plugins::mapi
