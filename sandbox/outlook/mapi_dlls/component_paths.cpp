// The stub. Where Windows asks the installer for a component, this one looks into a key of its
// own: the value COMPONENT/LOCALE is the path of that component's library for that locale.

#include <windows.h>

#include <new>
#include <string>

extern "C" BOOL WINAPI FGetComponentPath(LPSTR component, LPSTR qualifier, LPSTR path, DWORD size,
                                         BOOL) {
    if (component == nullptr || qualifier == nullptr || path == nullptr) return FALSE;
    try {
        const std::string value = std::string(component) + "/" + qualifier;
        return ::RegGetValueA(HKEY_CURRENT_USER, "Software\\Sandbox MAPI components", value.c_str(),
                              RRF_RT_REG_SZ, nullptr, path, &size) == ERROR_SUCCESS;
    } catch (const std::bad_alloc&) {
        return FALSE;
    }
}
