#include <cstdlib>

#include "vek/platform/environment.h"

namespace vek::platform {

std::optional<std::string> GetEnvironment(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr) return std::nullopt;
    return value;
}

}  // namespace vek::platform
