#include "vek/platform/library_loader.h"

#include <windows.h>

#include <filesystem>
#include <utility>

#include "vek/core/never_destroyed.h"
#include "vek/platform/unique_resource.h"
#include "vek/platform/wide_win32.h"

namespace vek::platform {
namespace {

struct LibraryTraits {
    using value_t = HMODULE;
    static value_t None() noexcept { return nullptr; }
    static void Close(value_t library) noexcept { ::FreeLibrary(library); }
};

class SystemLibrary final : public Library {
public:
    explicit SystemLibrary(UniqueResource<LibraryTraits> library) noexcept
        : library_(std::move(library)) {}

    Symbol Find(const char* name) const noexcept override {
        return reinterpret_cast<Symbol>(::GetProcAddress(library_.get(), name));
    }
    Symbol FindOrdinal(std::uint16_t ordinal) const noexcept override {
        return Find(MAKEINTRESOURCEA(ordinal));
    }

private:
    const UniqueResource<LibraryTraits> library_;
};

// The path of the system's own library of a bare name; other paths stay as they are.
std::wstring InSystemFolder(std::wstring path) {
    if (path.empty() || path.find_first_of(L"\\/:") != path.npos) return path;
    std::wstring folder(MAX_PATH, L'\0');
    const UINT length = ::GetSystemDirectoryW(folder.data(), MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return {};
    folder.resize(length);
    return folder + L'\\' + path;
}

class SystemLibraryLoader final : public LibraryLoader {
public:
    std::unique_ptr<Library> Load(std::string_view path) override {
        const std::wstring wide = InSystemFolder(ToWide(path));
        // The flag makes the system look for a library's own imports beside it and not beside the
        // host program. It is defined for absolute paths alone.
        const DWORD flags =
            std::filesystem::path(wide).is_absolute() ? LOAD_WITH_ALTERED_SEARCH_PATH : 0;
        UniqueResource<LibraryTraits> library(::LoadLibraryExW(wide.c_str(), nullptr, flags));
        if (!library) return nullptr;
        return std::make_unique<SystemLibrary>(std::move(library));
    }
};

}  // namespace

LibraryLoader& TheLibraryLoader() noexcept {
    // Never destroyed: what lives until the process ends may use it to the last.
    static NeverDestroyed<SystemLibraryLoader> loader;
    return *loader;
}

}  // namespace vek::platform
