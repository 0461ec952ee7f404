#include <array>

#include "product/state/open_at_once_win32.h"
#include "product/state/text_file.h"
#include "vek/platform/native_handle.h"

namespace reference_product {

std::optional<std::string> ReadAtOnce(const std::filesystem::path& path) {
    // STATUS_OPLOCK_BREAK_IN_PROGRESS: it is open, but to read it waits for whoever has the oplock.
    constexpr NTSTATUS kOplockBreakInProgress = 0x108;
    const OpenedFile opened = OpenAtOnce(path, FILE_READ_DATA, kShareAll, FILE_NON_DIRECTORY_FILE);
    if (!opened.file || opened.status == kOplockBreakInProgress) return std::nullopt;
    std::string text;
    for (std::array<char, 4096> piece; text.size() <= kLongestTextFile;) {
        DWORD size = 0;
        if (::ReadFile(opened.file.get(), piece.data(), piece.size(), &size, nullptr) == FALSE)
            return std::nullopt;
        if (size == 0) break;
        text.append(piece.data(), size);
    }
    return text;
}

bool WriteThrough(const std::filesystem::path& path, std::string_view text) {
    const vek::platform::NativeHandle owned(reinterpret_cast<std::intptr_t>(
        ::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                      FILE_ATTRIBUTE_NORMAL, nullptr)));
    const HANDLE file = reinterpret_cast<HANDLE>(owned.get());
    DWORD size = 0;
    return owned &&
           ::WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &size, nullptr) !=
               FALSE &&
           size == text.size() && ::FlushFileBuffers(file) != FALSE;
}

}  // namespace reference_product
