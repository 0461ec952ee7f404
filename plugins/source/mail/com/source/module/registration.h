#pragma once

#include <windows.h>

namespace plugins::dll {

// Writes the module's classes, the add-in for Outlook and the type library into the registry, as
// DllRegisterServer: all of it, or what failed is given and the registry is as it was.
HRESULT RegisterModule() noexcept;

// Takes it out again, as DllUnregisterServer. What is not there is done.
HRESULT UnregisterModule() noexcept;

}  // namespace plugins::dll
