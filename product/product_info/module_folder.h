#pragma once

#include <filesystem>

namespace reference_product {

// The folder of the module that this code is part of: the program, or the library when it is in
// one. Empty when the system does not tell.
std::filesystem::path ModuleFolder();

}  // namespace reference_product
