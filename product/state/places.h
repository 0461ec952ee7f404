#pragma once

#include <filesystem>

#include "vek/platform/module_folder.h"

// Where an installed product's files lie. Each is empty when the system does not tell. Any thread.
namespace reference_product {

using vek::platform::ModuleFolder;

// What the service keeps: "%ProgramData%\QZ\Mail Plugin". There is none where there are no
// services.
std::filesystem::path CommonDataFolder();

// What is this user's own, and stays on this machine: "%LOCALAPPDATA%\QZ\Mail Plugin". None where
// there are no services.
std::filesystem::path UserDataFolder();

}  // namespace reference_product
