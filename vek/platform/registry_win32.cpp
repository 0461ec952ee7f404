#include "vek/platform/registry.h"

#include <windows.h>

#include <vector>

#include "vek/platform/wide_win32.h"

namespace vek::platform {
namespace {

HKEY RootKey(RegistryRoot root) noexcept {
    return root == RegistryRoot::kLocalMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

class Key {
public:
    Key(RegistryRoot root, std::string_view path, REGSAM access)
        : error_(RegOpenKeyExW(RootKey(root), ToWide(path).c_str(), 0, access, &key_)) {}
    ~Key() {
        if (error_ == ERROR_SUCCESS) RegCloseKey(key_);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    HKEY get() const noexcept { return key_; }
    system_error_t error() const noexcept { return static_cast<system_error_t>(error_); }

private:
    HKEY key_ = nullptr;
    LSTATUS error_;
};

class SystemRegistry final : public Registry {
public:
    system_error_t ReadText(RegistryRoot root, std::string_view key, std::string_view name,
                            std::string& value) override {
        const Key opened(root, key, KEY_READ);
        if (opened.error() != system_error::kNone) return opened.error();
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
        const Key opened(root, key, KEY_SET_VALUE);
        if (opened.error() != system_error::kNone) return opened.error();
        const std::wstring text = ToWide(value);
        const auto size = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
        return static_cast<system_error_t>(
            RegSetValueExW(opened.get(), ToWide(name).c_str(), 0, REG_SZ,
                           reinterpret_cast<const BYTE*>(text.c_str()), size));
    }

    system_error_t DeleteValue(RegistryRoot root, std::string_view key,
                               std::string_view name) override {
        const Key opened(root, key, KEY_SET_VALUE);
        if (opened.error() != system_error::kNone) return opened.error();
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
