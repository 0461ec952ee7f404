#include "vek/platform/registry.h"

#include <windows.h>

#include <string>

#include "vek/core/never_destroyed.h"

namespace vek::platform {
namespace {

HKEY Native(RegistryHandle key) noexcept { return reinterpret_cast<HKEY>(key); }

std::wstring Terminated(std::u16string_view text) { return {text.begin(), text.end()}; }

// Not on every Windows that the plug-in loads on.
using DeleteKeyEx = LSTATUS(WINAPI*)(HKEY root, const wchar_t* path, REGSAM view, DWORD reserved);

DeleteKeyEx FindDeleteKeyEx() noexcept {
    const HMODULE library = ::GetModuleHandleW(L"advapi32.dll");
    if (library == nullptr) return nullptr;
    return reinterpret_cast<DeleteKeyEx>(
        reinterpret_cast<void*>(::GetProcAddress(library, "RegDeleteKeyExW")));
}

// The longest names, by the system's documentation, with an end.
constexpr DWORD kKeyNameSize = 256;
constexpr DWORD kValueNameSize = 16384;

class SystemRegistry final : public Registry {
public:
    system_error_t Open(RegistryHandle root, std::u16string_view path, registry_access_t access,
                        RegistryHandle& key) override {
        HKEY opened = nullptr;
        const LSTATUS status =
            ::RegOpenKeyExW(Native(root), Terminated(path).c_str(), 0, access, &opened);
        key = RegistryHandle{reinterpret_cast<std::intptr_t>(opened)};
        return static_cast<system_error_t>(status);
    }

    system_error_t Create(RegistryHandle root, std::u16string_view path, registry_access_t access,
                          RegistryHandle& key) override {
        HKEY opened = nullptr;
        const LSTATUS status =
            ::RegCreateKeyExW(Native(root), Terminated(path).c_str(), 0, nullptr,
                              REG_OPTION_NON_VOLATILE, access, nullptr, &opened, nullptr);
        key = RegistryHandle{reinterpret_cast<std::intptr_t>(opened)};
        return static_cast<system_error_t>(status);
    }

    void Close(RegistryHandle key) noexcept override { ::RegCloseKey(Native(key)); }

    system_error_t QueryInfo(RegistryHandle key, RegistryKeyInfo& info) override {
        DWORD subkeys = 0, values = 0;
        FILETIME written{};
        const LSTATUS status =
            ::RegQueryInfoKeyW(Native(key), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr,
                               &values, nullptr, nullptr, nullptr, &written);
        info = {subkeys, values, ToNumber(written)};
        return static_cast<system_error_t>(status);
    }

    system_error_t EnumerateKey(RegistryHandle key, std::uint32_t index, std::u16string& name,
                                filetime_t& last_write) override {
        wchar_t text[kKeyNameSize];
        DWORD length = kKeyNameSize;
        FILETIME written{};
        const LSTATUS status =
            ::RegEnumKeyExW(Native(key), index, text, &length, nullptr, nullptr, nullptr, &written);
        if (status == ERROR_SUCCESS) name.assign(text, text + length);
        last_write = ToNumber(written);
        return static_cast<system_error_t>(status);
    }

    system_error_t EnumerateValue(RegistryHandle key, std::uint32_t index, std::u16string& name,
                                  RegistryType& type) override {
        std::wstring text(kValueNameSize, L'\0');
        DWORD length = kValueNameSize, number = REG_NONE;
        const LSTATUS status = ::RegEnumValueW(Native(key), index, text.data(), &length, nullptr,
                                               &number, nullptr, nullptr);
        if (status == ERROR_SUCCESS) name.assign(text.data(), text.data() + length);
        type = RegistryType{number};
        return static_cast<system_error_t>(status);
    }

    system_error_t QueryValue(RegistryHandle key, std::u16string_view name,
                              RegistryValue& value) override {
        const std::wstring wide_name = Terminated(name);
        value.data.resize(256);
        for (;;) {
            DWORD type = REG_NONE;
            auto size = static_cast<DWORD>(value.data.size());
            const LSTATUS status =
                ::RegQueryValueExW(Native(key), wide_name.c_str(), nullptr, &type,
                                   reinterpret_cast<BYTE*>(value.data.data()), &size);
            value.data.resize(size);
            value.type = RegistryType{type};
            // The value may grow in between.
            if (status != ERROR_MORE_DATA) return static_cast<system_error_t>(status);
        }
    }

    system_error_t SetValue(RegistryHandle key, std::u16string_view name, RegistryType type,
                            std::span<const std::byte> data) override {
        return static_cast<system_error_t>(::RegSetValueExW(
            Native(key), Terminated(name).c_str(), 0, static_cast<DWORD>(type),
            reinterpret_cast<const BYTE*>(data.data()), static_cast<DWORD>(data.size())));
    }

    system_error_t DeleteValue(RegistryHandle key, std::u16string_view name) override {
        return static_cast<system_error_t>(
            ::RegDeleteValueW(Native(key), Terminated(name).c_str()));
    }

    system_error_t DeleteKey(RegistryHandle root, std::u16string_view path,
                             registry_access_t view) override {
        const DeleteKeyEx delete_key_ex = FindDeleteKeyEx();
        const std::wstring wide_path = Terminated(path);
        return static_cast<system_error_t>(
            delete_key_ex != nullptr ? delete_key_ex(Native(root), wide_path.c_str(), view, 0)
                                     : ::RegDeleteKeyW(Native(root), wide_path.c_str()));
    }

    system_error_t NotifyChange(RegistryHandle key, Event& event) override {
        return static_cast<system_error_t>(
            ::RegNotifyChangeKeyValue(Native(key), TRUE, REG_NOTIFY_CHANGE_LAST_SET,
                                      reinterpret_cast<HANDLE>(event.handle()), TRUE));
    }

private:
    static filetime_t ToNumber(const FILETIME& time) noexcept {
        return filetime_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
    }
};

}  // namespace

Registry& TheRegistry() noexcept {
    // Never destroyed: what lives until the process ends may use it to the last.
    static NeverDestroyed<SystemRegistry> registry;
    return *registry;
}

}  // namespace vek::platform
