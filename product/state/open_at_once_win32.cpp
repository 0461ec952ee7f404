#include "product/state/open_at_once_win32.h"

namespace reference_product {
namespace {

// ntstatus.h does not go together with windows.h.
constexpr NTSTATUS ToStatus(ULONG code) { return static_cast<NTSTATUS>(code); }
constexpr NTSTATUS kNameInvalid = ToStatus(0xC0000033), kNameNotFound = ToStatus(0xC0000034),
                   kPathNotFound = ToStatus(0xC000003A), kDeletePending = ToStatus(0xC0000056);

}  // namespace

bool OpenedFile::IsGone() const noexcept {
    return status == kNameNotFound || status == kPathNotFound || status == kDeletePending;
}

OpenedFile OpenAtOnce(const std::filesystem::path& path, DWORD access, DWORD share, ULONG options) {
    UNICODE_STRING name;
    if (::RtlDosPathNameToNtPathName_U(path.c_str(), &name, nullptr, nullptr) == FALSE) {
        ::SetLastError(ERROR_INVALID_NAME);
        return {{}, kNameInvalid};
    }
    OBJECT_ATTRIBUTES object;
    InitializeObjectAttributes(&object, &name, OBJ_CASE_INSENSITIVE, nullptr, nullptr);
    IO_STATUS_BLOCK unused;
    HANDLE file = nullptr;
    const NTSTATUS status = ::NtCreateFile(
        &file, access | SYNCHRONIZE, &object, &unused, nullptr, FILE_ATTRIBUTE_NORMAL, share,
        FILE_OPEN, options | FILE_SYNCHRONOUS_IO_NONALERT | FILE_COMPLETE_IF_OPLOCKED, nullptr, 0);
    ::RtlFreeUnicodeString(&name);
    ::SetLastError(::RtlNtStatusToDosError(status));
    return {vek::platform::UniqueHandle(NT_SUCCESS(status) ? file : nullptr), status};
}

}  // namespace reference_product
