#pragma once

#include <windows.h>

#include <stdexcept>
#include <string_view>

namespace tests {

// While it lives, this process has one empty key of the registry in place of its three roots.
class ScratchRegistry {
public:
    ScratchRegistry() {
        HKEY key = nullptr;
        ::RegCreateKeyW(HKEY_CURRENT_USER, kPath, &key);
        for (const HKEY root : kRoots)
            if (::RegOverridePredefKey(root, key) != 0) throw std::runtime_error("no registry");
        ::RegCloseKey(key);
    }
    ~ScratchRegistry() {
        for (const HKEY root : kRoots) ::RegOverridePredefKey(root, nullptr);
        ::RegDeleteTreeW(HKEY_CURRENT_USER, kPath);
    }
    ScratchRegistry(const ScratchRegistry&) = delete;
    ScratchRegistry& operator=(const ScratchRegistry&) = delete;

    // Makes the key, too.
    static void Set(const wchar_t* key, const wchar_t* name, std::wstring_view data,
                    DWORD type = REG_SZ) {
        ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, type, data.data(),
                          static_cast<DWORD>(data.size() * sizeof(wchar_t)));
    }

private:
    static constexpr const wchar_t* kPath = L"Software\\mlxo unit tests";
    static inline const HKEY kRoots[] = {HKEY_CLASSES_ROOT, HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER};
};

}  // namespace tests
