#include <windows.h>

#include <stdexcept>

#include "sandbox/outlook/code_page.h"
#include "vek/core/text.h"

namespace sandbox::outlook {
namespace {

int Checked(int size) {
    return size > 0 ? size : throw std::runtime_error("the system cannot convert this text");
}

}  // namespace

std::string Encode(std::string_view utf8, unsigned code_page) {
    const std::u16string units = vek::ToUtf16(utf8);
    const std::wstring wide(units.begin(), units.end());
    const auto size = static_cast<int>(wide.size());
    std::string narrow(2 * wide.size(), '\0');  // no page here has longer characters
    narrow.resize(static_cast<std::size_t>(
        Checked(WideCharToMultiByte(code_page, 0, wide.data(), size, narrow.data(),
                                    static_cast<int>(narrow.size()), nullptr, nullptr))));
    return narrow;
}

std::string Decode(std::string_view narrow, unsigned code_page) {
    const auto size = static_cast<int>(narrow.size());
    std::wstring wide(narrow.size(), L'\0');
    wide.resize(static_cast<std::size_t>(
        Checked(MultiByteToWideChar(code_page, 0, narrow.data(), size, wide.data(), size))));
    return vek::ToUtf8(std::u16string(wide.begin(), wide.end()));
}

}  // namespace sandbox::outlook
