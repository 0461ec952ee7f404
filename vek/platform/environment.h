#pragma once

#include <optional>
#include <string>

namespace vek::platform {

// The value of an environment variable in UTF-8, or nothing when it is not set.
std::optional<std::string> GetEnvironment(const char* name);

}  // namespace vek::platform
