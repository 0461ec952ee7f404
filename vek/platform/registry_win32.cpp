#include "vek/platform/registry.h"

#include <windows.h>

#include <string>
#include <utility>

#include "vek/core/never_destroyed.h"
#include "vek/platform/unique_resource.h"
#include "vek/platform/wide_win32.h"

namespace vek::platform {
namespace {

HKEY RootKey(RegistryRoot root) noexcept {
    return root == RegistryRoot::kLocalMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

struct KeyTraits {
    using value_t = HKEY;
    static value_t None() noexcept { return nullptr; }
    static void Close(value_t key) noexcept { ::RegCloseKey(key); }
};

using Key = UniqueResource<KeyTraits>;

system_error_t OpenKey(RegistryRoot root, std::string_view path, REGSAM access, Key& key) {
    HKEY opened = nullptr;
    const LSTATUS status = ::RegOpenKeyExW(RootKey(root), ToWide(path).c_str(), 0, access, &opened);
    key = Key(opened);
    return static_cast<system_error_t>(status);
}

// The texts of a REG_MULTI_SZ with a NUL after each, up to the empty one that ends them. Nobody
// makes a writer of the registry end its texts or its list.
std::wstring TerminatedTexts(std::wstring data) {
    data.append(2, L'\0');
    std::size_t end = 0;
    while (data[end] != L'\0') end = data.find(L'\0', end) + 1;
    data.resize(end);
    return data;
}

class SystemRegistry final : public Registry {
public:
    system_error_t ReadText(RegistryRoot root, std::string_view key, std::string_view name,
                            std::string& value) override {
        Key opened;
        const system_error_t error = OpenKey(root, key, KEY_READ, opened);
        if (error != system_error::kNone) return error;
        const std::wstring wide_name = ToWide(name);
        std::wstring data(64, L'\0');
        for (;;) {
            DWORD type = REG_NONE;
            auto size = static_cast<DWORD>(data.size() * sizeof(wchar_t));
            const LSTATUS status = RegQueryValueExW(opened.get(), wide_name.c_str(), nullptr, &type,
                                                    reinterpret_cast<BYTE*>(data.data()), &size);
            if (status == ERROR_MORE_DATA) {
                data.resize(size / sizeof(wchar_t) + 1);
                continue;
            }
            if (status != ERROR_SUCCESS) return static_cast<system_error_t>(status);
            data.resize(size / sizeof(wchar_t));
            if (type == REG_MULTI_SZ) {
                value = FromWide(TerminatedTexts(std::move(data)));
            } else if (type == REG_SZ || type == REG_EXPAND_SZ) {
                value = FromWide(data.substr(0, data.find(L'\0')));
            } else {
                return ERROR_UNSUPPORTED_TYPE;
            }
            return system_error::kNone;
        }
    }

    system_error_t ReadLastWriteTime(RegistryRoot root, std::string_view key,
                                     filetime_t& time) override {
        Key opened;
        const system_error_t error = OpenKey(root, key, KEY_READ, opened);
        if (error != system_error::kNone) return error;
        FILETIME written{};
        const LSTATUS status =
            ::RegQueryInfoKeyW(opened.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr, nullptr, &written);
        if (status == ERROR_SUCCESS) {
            time = filetime_t{written.dwHighDateTime} << 32 | written.dwLowDateTime;
        }
        return static_cast<system_error_t>(status);
    }

    system_error_t WriteText(RegistryRoot root, std::string_view key, std::string_view name,
                             std::string_view value) override {
        Key opened;
        const system_error_t error = OpenKey(root, key, KEY_SET_VALUE, opened);
        if (error != system_error::kNone) return error;
        const std::wstring text = ToWide(value);
        const auto size = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
        return static_cast<system_error_t>(
            RegSetValueExW(opened.get(), ToWide(name).c_str(), 0, REG_SZ,
                           reinterpret_cast<const BYTE*>(text.c_str()), size));
    }

    system_error_t DeleteValue(RegistryRoot root, std::string_view key,
                               std::string_view name) override {
        Key opened;
        const system_error_t error = OpenKey(root, key, KEY_SET_VALUE, opened);
        if (error != system_error::kNone) return error;
        return static_cast<system_error_t>(RegDeleteValueW(opened.get(), ToWide(name).c_str()));
    }
};

}  // namespace

Registry& TheRegistry() noexcept {
    // Never destroyed: what lives until the process ends may use it to the last.
    static NeverDestroyed<SystemRegistry> registry;
    return *registry;
}

}  // namespace vek::platform
