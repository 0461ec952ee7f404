#pragma once

#include <windows.h>
// After windows.h, which it needs.
#include <winternl.h>

#include <filesystem>

#include "vek/platform/handle_win32.h"

namespace reference_product {

// What came of opening a file.
struct OpenedFile {
    vek::platform::UniqueHandle file;  // null after a failure; ::GetLastError() says why
    NTSTATUS status = 0;

    // Whether there was no file, or one that is removed when the last one closes it.
    bool IsGone() const noexcept;
};

inline constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Opens a file or folder that is there. Whoever reads a file may have an oplock on it and need
// never let go: the usual way to open one waits for him, this one does not. `options` are those of
// NtCreateFile besides.
OpenedFile OpenAtOnce(const std::filesystem::path& path, DWORD access, DWORD share, ULONG options);

}  // namespace reference_product
