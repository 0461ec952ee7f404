#include <windows.h>

#include <filesystem>
#include <utility>

#include "vek/platform/dynamic_library.h"
#include "vek/platform/wide_win32.h"

namespace vek::platform {
namespace {

DynamicLibrary::Symbol FindIn(void* library, const char* name_or_ordinal) noexcept {
    // Without a library GetProcAddress would search the program.
    if (library == nullptr) {
        SetLastError(system_error::kProcedureNotFound);
        return nullptr;
    }
    return reinterpret_cast<DynamicLibrary::Symbol>(
        ::GetProcAddress(static_cast<HMODULE>(library), name_or_ordinal));
}

}  // namespace

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept
    : handle_(std::exchange(other.handle_, nullptr)) {}

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

DynamicLibrary::~DynamicLibrary() {
    if (handle_ != nullptr) ::FreeLibrary(static_cast<HMODULE>(handle_));
}

DynamicLibrary DynamicLibrary::Load(std::string_view path) {
    const std::wstring wide = ToWide(path);
    // What a library needs is looked for beside it, not beside the host program; the flag is
    // defined for absolute paths alone.
    const DWORD flags =
        std::filesystem::path(wide).is_absolute() ? LOAD_WITH_ALTERED_SEARCH_PATH : 0;
    DynamicLibrary library;
    library.handle_ = ::LoadLibraryExW(wide.c_str(), nullptr, flags);
    return library;
}

DynamicLibrary::Symbol DynamicLibrary::Find(const char* name) const noexcept {
    return FindIn(handle_, name);
}

DynamicLibrary::Symbol DynamicLibrary::FindOrdinal(std::uint16_t ordinal) const noexcept {
    return FindIn(handle_, MAKEINTRESOURCEA(ordinal));
}

}  // namespace vek::platform
