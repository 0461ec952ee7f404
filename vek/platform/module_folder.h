#pragma once

#include <filesystem>

namespace vek::platform {

// The folder of the module that this code is linked into, a program or a library. Empty when the
// system does not tell. Any thread may call it.
std::filesystem::path ModuleFolder();

}  // namespace vek::platform
