#include "vek/platform/append_file.h"

#include <windows.h>

#include <aclapi.h>

#include "vek/platform/token_win32.h"
#include "vek/platform/wide_win32.h"

namespace vek::platform {
namespace {

HANDLE AsHandle(const NativeHandle& handle) noexcept {
    return reinterpret_cast<HANDLE>(handle.get());
}

// Whether a file is this process's: its user's, or that of the files that the user makes.
bool IsOwner(PSID owner) {
    const UniqueHandle token = OwnToken();
    const TokenFact<TOKEN_USER> user(token.get(), TokenUser);
    const TokenFact<TOKEN_OWNER> maker(token.get(), TokenOwner);
    return (user && ::EqualSid(user->User.Sid, owner) != FALSE) ||
           (maker && ::EqualSid(maker->Owner, owner) != FALSE);
}

bool IsOurPlainFile(HANDLE file) {
    BY_HANDLE_FILE_INFORMATION facts;
    constexpr DWORD kOtherKinds = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    if (::GetFileType(file) != FILE_TYPE_DISK ||
        ::GetFileInformationByHandle(file, &facts) == FALSE ||
        (facts.dwFileAttributes & kOtherKinds) != 0 || facts.nNumberOfLinks > 1) {
        return false;
    }
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR security = nullptr;
    if (::GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr,
                          nullptr, nullptr, &security) != ERROR_SUCCESS) {
        return false;
    }
    const bool ours = IsOwner(owner);
    ::LocalFree(security);
    return ours;
}

}  // namespace

AppendFile AppendFile::Open(std::string_view path) { return Open(path, false); }
AppendFile AppendFile::Create(std::string_view path) { return Open(path, true); }

AppendFile AppendFile::Open(std::string_view path, bool is_new) {
    const HANDLE handle =
        ::CreateFileW(ToWide(path).c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | READ_CONTROL,
                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                      is_new ? CREATE_NEW : OPEN_ALWAYS,
                      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    AppendFile file;
    file.handle_ = NativeHandle(reinterpret_cast<std::intptr_t>(handle));
    if (file && !IsOurPlainFile(handle)) {
        file = {};
        ::SetLastError(ERROR_ACCESS_DENIED);
    }
    return file;
}

bool AppendFile::Append(std::string_view bytes) noexcept {
    DWORD taken = 0;
    return ::WriteFile(AsHandle(handle_), bytes.data(), static_cast<DWORD>(bytes.size()), &taken,
                       nullptr) != FALSE &&
           taken == bytes.size();
}

bool AppendFile::Flush() noexcept { return ::FlushFileBuffers(AsHandle(handle_)) != FALSE; }

std::uint64_t AppendFile::Size() const noexcept {
    LARGE_INTEGER size;
    if (::GetFileSizeEx(AsHandle(handle_), &size) == FALSE) return 0;
    return static_cast<std::uint64_t>(size.QuadPart);
}

}  // namespace vek::platform
