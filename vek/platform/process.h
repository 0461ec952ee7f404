#pragma once

#include <string>

namespace vek::platform {

// The file name of the running program in UTF-8, without its folder and its ".exe". Empty when
// the system does not tell.
std::string CurrentProcessName();

}  // namespace vek::platform
