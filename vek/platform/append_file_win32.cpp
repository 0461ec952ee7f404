#include "vek/platform/append_file.h"

#include <windows.h>

#include <utility>

#include "vek/platform/wide_win32.h"

namespace vek::platform {
namespace {

HANDLE AsHandle(std::intptr_t handle) noexcept { return reinterpret_cast<HANDLE>(handle); }

}  // namespace

AppendFile::AppendFile(AppendFile&& other) noexcept
    : handle_(std::exchange(other.handle_, kNoHandle)) {}

AppendFile& AppendFile::operator=(AppendFile&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

AppendFile::~AppendFile() {
    if (*this) ::CloseHandle(AsHandle(handle_));
}

AppendFile AppendFile::Open(std::string_view path) {
    const HANDLE handle =
        ::CreateFileW(ToWide(path).c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES,
                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                      FILE_ATTRIBUTE_NORMAL, nullptr);
    return AppendFile(reinterpret_cast<std::intptr_t>(handle));
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
