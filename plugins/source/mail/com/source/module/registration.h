#pragma once

#include <windows.h>

#include <array>
#include <string_view>

#include "com/registration_script.h"

namespace plugins::dll {

// The module's registration scripts: resources of the file that this code is linked into. Raises
// HResultCodeException where one is missing. Any thread.
std::array<std::string_view, 4> RegistrationScripts();

// What stands in the scripts for a module at `path` and for the name that people know the product
// by. Both outlive the result.
std::array<com::Replacement, 4> ScriptReplacements(std::u16string_view path,
                                                   std::u16string_view product) noexcept;

// Writes the module's classes, the add-in for Outlook and the type library into the registry, as
// DllRegisterServer: all of it, or what failed is given and the registry is as it was.
HRESULT RegisterModule() noexcept;

// Takes it out again, as DllUnregisterServer. What is not there is done.
HRESULT UnregisterModule() noexcept;

}  // namespace plugins::dll
