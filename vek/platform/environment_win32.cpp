#include <windows.h>

#include "vek/platform/environment.h"
#include "vek/platform/wide_win32.h"

namespace vek::platform {

std::optional<std::string> GetEnvironment(const char* name) {
    const std::wstring wide_name = ToWide(name);
    std::wstring value(MAX_PATH, L'\0');
    for (;;) {
        // An empty value and a missing variable both give zero.
        ::SetLastError(ERROR_SUCCESS);
        const DWORD length = ::GetEnvironmentVariableW(wide_name.c_str(), value.data(),
                                                       static_cast<DWORD>(value.size()));
        if (length == 0 && ::GetLastError() != ERROR_SUCCESS) return std::nullopt;
        const bool whole = length < value.size();
        value.resize(length);
        if (whole) return FromWide(value);
    }
}

}  // namespace vek::platform
