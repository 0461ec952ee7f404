#include "vek/platform/registry.h"

#include <windows.h>

#include <vector>

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

class SystemRegistry final : public Registry {
public:
    system_error_t ReadText(RegistryRoot root, std::string_view key, std::string_view name,
                            std::string& value) override {
        Key opened;
        const system_error_t error = OpenKey(root, key, KEY_READ, opened);
        if (error != system_error::kNone) return error;
        const std::wstring wide_name = ToWide(name);
        constexpr DWORD kTexts =
            RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_RT_REG_MULTI_SZ | RRF_NOEXPAND;
        std::vector<wchar_t> text(64);
        for (;;) {
            DWORD type = REG_NONE;
            auto size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
            const LSTATUS status = RegGetValueW(opened.get(), nullptr, wide_name.c_str(), kTexts,
                                                &type, text.data(), &size);
            if (status == ERROR_SUCCESS) {
                const wchar_t* const first = text.data();
                // The size counts the terminator, which the system adds where it is missing.
                value = type == REG_MULTI_SZ ? FromWide({first, size / sizeof(wchar_t) - 1})
                                             : FromWide(first);
                return system_error::kNone;
            }
            if (status != ERROR_MORE_DATA) return static_cast<system_error_t>(status);
            text.resize(size / sizeof(wchar_t) + 1);
        }
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
    static auto& registry = *new SystemRegistry;
    return registry;
}

}  // namespace vek::platform
