#pragma once

#include <windows.h>

#include <string>

#include "internal/helpers/hresult_exception.h"

// Where the module is loaded that this code is linked into; the linker's.
extern "C" const IMAGE_DOS_HEADER __ImageBase;

namespace plugins::com {

// The module that this code is linked into: the DLL, or the program of a test.
inline HMODULE ThisModule() noexcept {
    return reinterpret_cast<HMODULE>(const_cast<IMAGE_DOS_HEADER*>(&__ImageBase));
}

// The file that a loaded module came from. Raises HResultCodeException.
inline std::wstring ModulePath(HMODULE module) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const auto room = static_cast<DWORD>(path.size());
        const DWORD length = ::GetModuleFileNameW(module, path.data(), room);
        if (length == 0) helpers::ThrowLastError();
        // Otherwise it is cut.
        if (length < room) return path.substr(0, length);
        path.resize(path.size() * 2);
    }
}

}  // namespace plugins::com
