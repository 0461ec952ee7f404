#pragma once

#include <cstdint>
#include <string>

#include "vek/platform/clock.h"
#include "vek/platform/system_error.h"

namespace vek::platform {

// The file name of the running program in UTF-8, without its folder and its ".exe". Empty when
// the system does not tell.
std::string CurrentProcessName();

// The path of a process's program in UTF-8. Empty when the system does not tell this process.
std::string ProgramOfProcess(std::uint32_t process_id);

// The time when a process started, or the step that failed to find it.
struct ProcessStart {
    enum class Missing {
        kNothing,
        kSystemVersion,  // which decides how the process is asked
        kProcess,        // no such process, or it may not be asked
        kTime,
    };
    Missing missing;
    system_error_t error;  // kNone when nothing is missing
    filetime_t time;       // UTC; the same to whoever asks
};

// Finds when a process started. Any thread may call it.
ProcessStart StartOfProcess(std::uint32_t process_id) noexcept;

// Whether the system is to tell this process of no other, as Windows does between a user's process
// and a service's: nothing that is needed may depend on it. A fault, for those who try that.
void RefuseProcesses(bool refuses) noexcept;

}  // namespace vek::platform
