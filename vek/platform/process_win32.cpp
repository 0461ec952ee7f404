#include "vek/platform/process_win32.h"

#include <windows.h>

#include <atomic>

#include "vek/platform/process.h"
#include "vek/platform/thread.h"
#include "vek/platform/wide_win32.h"

namespace vek::platform {
namespace {

std::atomic<bool> refuses_processes{false};

}  // namespace

void RefuseProcesses(bool refuses) noexcept { refuses_processes = refuses; }

UniqueHandle OpenProcessById(std::uint32_t process_id, DWORD access) noexcept {
    if (refuses_processes && process_id != CurrentProcessId()) {
        ::SetLastError(ERROR_ACCESS_DENIED);
        return {};
    }
    return UniqueHandle(::OpenProcess(access, FALSE, process_id));
}

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

std::string ProgramOfProcess(std::uint32_t process_id) {
    const UniqueHandle process = OpenProcessById(process_id, PROCESS_QUERY_LIMITED_INFORMATION);
    if (!process) return {};
    std::wstring path(UNICODE_STRING_MAX_CHARS, L'\0');
    auto length = static_cast<DWORD>(path.size());
    if (::QueryFullProcessImageNameW(process.get(), 0, path.data(), &length) == FALSE) return {};
    return FromWide(std::wstring_view(path).substr(0, length));
}

ProcessStart StartOfProcess(std::uint32_t process_id) noexcept {
    using Missing = ProcessStart::Missing;
    constexpr DWORD kVistaMajorVersion = 6;
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (::GetVersionExW(&version) == FALSE) return {Missing::kSystemVersion, ::GetLastError(), 0};

    const DWORD access = version.dwMajorVersion < kVistaMajorVersion
                             ? PROCESS_QUERY_INFORMATION
                             : PROCESS_QUERY_LIMITED_INFORMATION;
    const UniqueHandle process = OpenProcessById(process_id, access);
    if (!process) return {Missing::kProcess, ::GetLastError(), 0};

    FILETIME created, exited, kernel, user;
    if (::GetProcessTimes(process.get(), &created, &exited, &kernel, &user) == FALSE) {
        return {Missing::kTime, ::GetLastError(), 0};
    }
    return {Missing::kNothing, system_error::kNone,
            filetime_t{created.dwHighDateTime} << 32 | created.dwLowDateTime};
}

}  // namespace vek::platform
