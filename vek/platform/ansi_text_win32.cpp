#include "vek/platform/ansi_text.h"

#include <windows.h>

#include <climits>

#include "vek/platform/wide_win32.h"

namespace vek::platform {
namespace {

constexpr UINT kGb18030 = 54936;  // has all of Unicode, as UTF-8 has

}  // namespace

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

bool HasEverything(code_page_t page) noexcept {
    if (page == kAnsiCodePage) page = ::GetACP();
    return page == kUtf8CodePage || page == kGb18030;
}

bool native::HasAllOfPiece(code_page_t page, std::u16string_view text) {
    BOOL lacks = FALSE;
    const int size = ::WideCharToMultiByte(
        page, WC_NO_BEST_FIT_CHARS, reinterpret_cast<const wchar_t*>(text.data()),
        static_cast<int>(text.size()), nullptr, 0, nullptr, &lacks);
    return size != 0 && lacks == FALSE;
}

std::optional<std::u16string> FromCodePage(code_page_t page, std::string_view bytes) {
    if (bytes.empty()) return std::u16string();
    if (bytes.size() > INT_MAX) return std::nullopt;
    const auto size = static_cast<int>(bytes.size());
    const int length = ::MultiByteToWideChar(page, 0, bytes.data(), size, nullptr, 0);
    if (length == 0) return std::nullopt;
    std::u16string text(static_cast<std::size_t>(length), u'\0');
    ::MultiByteToWideChar(page, 0, bytes.data(), size, reinterpret_cast<wchar_t*>(text.data()),
                          length);
    return text;
}

}  // namespace vek::platform
