#pragma once

#include <windows.h>

#include <string>

#include "internal/helpers/hresult_exception.h"

namespace plugins::com {

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
