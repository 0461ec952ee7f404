#include "sandbox/outlook/host/addin_key.h"

#include <windows.h>
// The order matters: it needs windows.h.
#include <objbase.h>

#include <algorithm>
#include <array>

namespace sandbox::host {
namespace {

const std::wstring kAddins = L"Software\\Microsoft\\Office\\Outlook\\Addins";

// The user's come before the machine's.
const std::array kRoots = {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE};

std::wstring KeyOf(const std::wstring& prog_id) { return kAddins + L'\\' + prog_id; }

}  // namespace

std::vector<std::wstring> RegisteredAddins() {
    std::vector<std::wstring> found;
    for (const HKEY root : kRoots) {
        HKEY key = nullptr;
        if (::RegOpenKeyExW(root, kAddins.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) continue;
        std::array<wchar_t, 256> name{};
        for (DWORD index = 0;; ++index) {
            DWORD size = static_cast<DWORD>(name.size());
            if (::RegEnumKeyExW(key, index, name.data(), &size, nullptr, nullptr, nullptr,
                                nullptr) != ERROR_SUCCESS)
                break;
            const std::wstring prog_id(name.data(), size);
            if (std::ranges::find(found, prog_id) == found.end()) found.push_back(prog_id);
        }
        ::RegCloseKey(key);
    }
    return found;
}

std::optional<std::uint32_t> LoadBehavior(const std::wstring& prog_id) {
    for (const HKEY root : kRoots) {
        DWORD value = 0;
        DWORD size = sizeof value;
        if (::RegGetValueW(root, KeyOf(prog_id).c_str(), L"LoadBehavior", RRF_RT_REG_DWORD, nullptr,
                           &value, &size) == ERROR_SUCCESS)
            return value;
    }
    return std::nullopt;
}

void SetLoadBehavior(const std::wstring& prog_id, std::uint32_t value) {
    const DWORD data = value;
    ::RegSetKeyValueW(HKEY_CURRENT_USER, KeyOf(prog_id).c_str(), L"LoadBehavior", REG_DWORD, &data,
                      sizeof data);
}

void ForgetUsersLoadBehavior(const std::wstring& prog_id) {
    // The key goes, too, when that was all.
    ::RegDeleteKeyValueW(HKEY_CURRENT_USER, KeyOf(prog_id).c_str(), L"LoadBehavior");
    ::RegDeleteKeyW(HKEY_CURRENT_USER, KeyOf(prog_id).c_str());
}

std::wstring LibraryOf(const std::wstring& prog_id) {
    CLSID id;
    std::array<wchar_t, 64> text{};
    if (FAILED(::CLSIDFromProgID(prog_id.c_str(), &id)) ||
        ::StringFromGUID2(id, text.data(), static_cast<int>(text.size())) == 0)
        return {};
    const std::wstring key = std::wstring(L"CLSID\\") + text.data() + L"\\InprocServer32";
    std::array<wchar_t, 1024> path{};
    DWORD size = sizeof path;
    if (::RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, path.data(),
                       &size) != ERROR_SUCCESS)
        return {};
    return path.data();
}

}  // namespace sandbox::host
