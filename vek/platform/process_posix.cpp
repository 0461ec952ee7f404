#include "vek/platform/process.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "vek/platform/errno_posix.h"
#include "vek/platform/thread.h"

namespace vek::platform {
namespace {

std::atomic<bool> refuses_processes{false};

bool IsRefused(std::uint32_t process_id) noexcept {
    return refuses_processes && process_id != CurrentProcessId();
}

constexpr std::uint64_t kUnitsPerSecond = 10'000'000;

// When the system started, in seconds since 1970; 0 when it does not tell.
std::uint64_t BootTime() {
    std::ifstream lines("/proc/stat");
    std::uint64_t seconds = 0;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string key;
        if (words >> key && key == "btime" && words >> seconds) return seconds;
    }
    return 0;
}

// The start in clock ticks since the system's: the 22nd field of `stat`. The 2nd is the program's
// name in parentheses, which may hold anything.
bool ReadStartTicks(std::istream& stat, std::uint64_t& ticks) {
    const std::string text{std::istreambuf_iterator<char>(stat), {}};
    const std::size_t name_end = text.rfind(')');
    if (name_end == std::string::npos) return false;
    std::istringstream fields(text.substr(name_end + 1));
    std::string passed;
    for (int field = 3; field < 22; ++field) fields >> passed;
    return static_cast<bool>(fields >> ticks);
}

}  // namespace

std::uint32_t CurrentProcessId() noexcept { return static_cast<std::uint32_t>(::getpid()); }

std::string CurrentProcessName() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).filename().string();
}

void RefuseProcesses(bool refuses) noexcept { refuses_processes = refuses; }

std::string ProgramOfProcess(std::uint32_t process_id) {
    if (IsRefused(process_id)) return {};
    std::error_code error;
    return std::filesystem::read_symlink("/proc/" + std::to_string(process_id) + "/exe", error)
        .string();
}

ProcessStart StartOfProcess(std::uint32_t process_id) noexcept try {
    using Missing = ProcessStart::Missing;
    if (IsRefused(process_id)) return {Missing::kProcess, FailWith(EACCES), 0};
    std::ifstream stat("/proc/" + std::to_string(process_id) + "/stat");
    if (!stat) return {Missing::kProcess, FailWith(errno), 0};

    std::uint64_t ticks = 0;
    const std::uint64_t boot_time = BootTime();
    const auto ticks_per_second = static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
    if (boot_time == 0 || !ReadStartTicks(stat, ticks)) {
        return {Missing::kTime, FailWith(EIO), 0};
    }
    return {Missing::kNothing, system_error::kNone,
            kUnixEpoch + boot_time * kUnitsPerSecond + ticks * kUnitsPerSecond / ticks_per_second};
} catch (...) {
    return {ProcessStart::Missing::kTime, FailWith(ENOMEM), 0};
}

}  // namespace vek::platform
