#include "vek/platform/process.h"

#include <unistd.h>

#include <filesystem>

#include "vek/platform/thread.h"

namespace vek::platform {

std::uint32_t CurrentProcessId() noexcept { return static_cast<std::uint32_t>(::getpid()); }

std::string CurrentProcessName() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).filename().string();
}

}  // namespace vek::platform
