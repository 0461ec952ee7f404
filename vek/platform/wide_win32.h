#pragma once

// The one border between UTF-8 and the wchar_t texts of Windows calls.

#include <string>
#include <string_view>

#include "vek/core/text.h"

namespace vek::platform {

inline std::wstring ToWide(std::string_view text) {
    const std::u16string units = ToUtf16(text);
    return {units.begin(), units.end()};
}

inline std::string FromWide(std::wstring_view text) {
    return ToUtf8(std::u16string(text.begin(), text.end()));
}

}  // namespace vek::platform
