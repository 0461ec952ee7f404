#include "sandbox/outlook/memory_bytes.h"

#include <algorithm>
#include <limits>

namespace sandbox::outlook {
namespace {

constexpr std::uint64_t kLargestArray = std::numeric_limits<std::int32_t>::max();

}  // namespace

HRESULT MemoryBytes::ReadAt(ULARGE_INTEGER from, void* buffer, ULONG size, ULONG* read) {
    if (read != nullptr) *read = 0;
    return Enter(Call::kLockBytesReadAt, [&]() -> HRESULT {
        if (buffer == nullptr && size != 0) return STG_E_INVALIDPOINTER;
        if (from.QuadPart >= bytes_.size()) return S_OK;
        const std::size_t count =
            bytes_.copy(static_cast<char*>(buffer), runtime()->faults().ReadLimit(size),
                        static_cast<std::size_t>(from.QuadPart));
        if (read != nullptr) *read = static_cast<ULONG>(count);
        return S_OK;
    });
}

HRESULT MemoryBytes::WriteAt(ULARGE_INTEGER to, const void* bytes, ULONG size, ULONG* written) {
    if (written != nullptr) *written = 0;
    return Enter(Call::kLockBytesWriteAt, [&]() -> HRESULT {
        if (bytes == nullptr && size != 0) return STG_E_INVALIDPOINTER;
        if (to.QuadPart > kLargestArray - std::min<std::uint64_t>(size, kLargestArray))
            return STG_E_MEDIUMFULL;
        const auto start = static_cast<std::size_t>(to.QuadPart);
        if (start + size > bytes_.size()) bytes_.resize(start + size);
        std::copy_n(static_cast<const char*>(bytes), size, bytes_.data() + start);
        if (written != nullptr) *written = size;
        return S_OK;
    });
}

HRESULT MemoryBytes::Flush() {
    return Enter(Call::kLockBytesFlush, []() -> HRESULT { return S_OK; });
}

HRESULT MemoryBytes::SetSize(ULARGE_INTEGER size) {
    return Enter(Call::kLockBytesSetSize, [&]() -> HRESULT {
        if (size.QuadPart > kLargestArray) return STG_E_MEDIUMFULL;
        bytes_.resize(static_cast<std::size_t>(size.QuadPart));
        return S_OK;
    });
}

HRESULT MemoryBytes::Stat(STATSTG* facts, DWORD) {
    return Enter(Call::kLockBytesStat, [&]() -> HRESULT {
        if (facts == nullptr) return STG_E_INVALIDPOINTER;
        *facts = {};  // without a name
        facts->type = STGTY_LOCKBYTES;
        facts->cbSize.QuadPart = bytes_.size();
        return S_OK;
    });
}

}  // namespace sandbox::outlook
