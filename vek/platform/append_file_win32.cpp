#include "vek/platform/append_file.h"

#include <windows.h>

#include "vek/platform/wide_win32.h"

namespace vek::platform {
namespace {

HANDLE AsHandle(const NativeHandle& handle) noexcept {
    return reinterpret_cast<HANDLE>(handle.get());
}

}  // namespace

AppendFile AppendFile::Open(std::string_view path) {
    const HANDLE handle =
        ::CreateFileW(ToWide(path).c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES,
                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                      FILE_ATTRIBUTE_NORMAL, nullptr);
    AppendFile file;
    file.handle_ = NativeHandle(reinterpret_cast<std::intptr_t>(handle));
    return file;
}

bool AppendFile::Append(std::string_view bytes) noexcept {
    DWORD taken = 0;
    return ::WriteFile(AsHandle(handle_), bytes.data(), static_cast<DWORD>(bytes.size()), &taken,
                       nullptr) != FALSE &&
           taken == bytes.size();
}

std::uint64_t AppendFile::Size() const noexcept {
    LARGE_INTEGER size;
    if (::GetFileSizeEx(AsHandle(handle_), &size) == FALSE) return 0;
    return static_cast<std::uint64_t>(size.QuadPart);
}

}  // namespace vek::platform
