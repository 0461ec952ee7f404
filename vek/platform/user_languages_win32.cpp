#include <windows.h>

#include "vek/platform/user_languages.h"
#include "vek/platform/wide_win32.h"

namespace vek::platform {

std::string UserLanguages() {
    std::wstring names;
    ULONG count = 0, size = 0;
    // It may have grown between the question for its size and the second one.
    while (::GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count,
                                         names.empty() ? nullptr : names.data(), &size) ||
           ::GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
        if (size <= names.size()) {
            names.resize(size);
            // Each has a zero behind it, and the list another.
            while (names.ends_with(L'\0')) names.pop_back();
            for (wchar_t& unit : names)
                if (unit == L'\0') unit = L';';
            return FromWide(names);
        }
        names.resize(size);
    }
    return {};
}

}  // namespace vek::platform
