#include "vek/platform/module_folder.h"

#include <windows.h>

#include <string>

namespace vek::platform {

std::filesystem::path ModuleFolder() {
    HMODULE module = nullptr;
    if (::GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&ModuleFolder), &module) == FALSE)
        return {};
    // The longest path that there is (UNICODE_STRING of winternl.h).
    std::wstring path(32768, L'\0');
    path.resize(::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).parent_path();
}

}  // namespace vek::platform
