#include "vek/platform/process.h"

#include <windows.h>

#include "vek/platform/thread.h"
#include "vek/platform/wide_win32.h"

namespace vek::platform {

std::uint32_t CurrentProcessId() noexcept { return ::GetCurrentProcessId(); }

std::string CurrentProcessName() {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) return {};
        if (length < path.size()) {
            path.resize(length);
            break;
        }
        path.resize(path.size() * 2);
    }
    std::wstring_view name = path;
    name.remove_prefix(name.find_last_of(L"\\/") + 1);
    return FromWide(name.substr(0, name.rfind(L'.')));
}

}  // namespace vek::platform
