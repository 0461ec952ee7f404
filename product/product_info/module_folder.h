#pragma once

#include <filesystem>

namespace reference_product {

// Gives the folder of the module that this code is linked into, a program or a library. Empty when
// the system does not tell.
std::filesystem::path ModuleFolder();

}  // namespace reference_product
