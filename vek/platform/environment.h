#pragma once

#include <optional>
#include <string>

namespace vek::platform {

// Gives the value of an environment variable in UTF-8, or nothing when it is not set. No thread
// may change the environment meanwhile.
std::optional<std::string> GetEnvironment(const char* name);

}  // namespace vek::platform
