#include "vek/platform/ansi_text.h"

#include <windows.h>

#include "vek/platform/wide_win32.h"

namespace vek::platform {

std::string AnsiToUtf8(std::string_view text) {
    const auto size = static_cast<int>(text.size());
    const int length = ::MultiByteToWideChar(CP_ACP, 0, text.data(), size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    ::MultiByteToWideChar(CP_ACP, 0, text.data(), size, wide.data(), length);
    return FromWide(wide);
}

std::string Utf8ToAnsi(std::string_view text) {
    const std::wstring wide = ToWide(text);
    const auto length = static_cast<int>(wide.size());
    const int size =
        ::WideCharToMultiByte(CP_ACP, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
    std::string ansi(static_cast<std::size_t>(size), '\0');
    ::WideCharToMultiByte(CP_ACP, 0, wide.data(), length, ansi.data(), size, nullptr, nullptr);
    return ansi;
}

}  // namespace vek::platform
