#pragma once

#include <windows.h>

#include <string>
#include <string_view>

#include "vek/platform/handle_win32.h"

namespace plugins::dll {

// The program that writes the dumps, ready to be started with a fault of this process. One thread
// at a time may use it.
class CrashDumpWriter {
public:
    // `module_path` is this module's, beside which the program lies; `folder` (UTF-8) is where the
    // program puts the dumps. Raises only for want of memory.
    CrashDumpWriter(const std::wstring& module_path, std::string_view folder);

    // Completes the command line; `exception` lies in this process. Allocates nothing.
    void SetFault(DWORD thread, const EXCEPTION_POINTERS* exception) noexcept;

    // The command line in UTF-8.
    std::string_view command_line() const noexcept { return command_line_; }

    // Starts the program; this code allocates nothing. It inherits no handle. Empty, with the
    // last error set, when that failed.
    vek::platform::UniqueHandle Start() noexcept;

private:
    std::wstring program_;
    std::string command_line_;
    std::wstring wide_command_line_;
};

}  // namespace plugins::dll
