#include "mapi/mapi_streams.h"

#include <algorithm>
#include <limits>

#include "internal/helpers/hresult_exception.h"
#include "vek/core/throw.h"

namespace plugins::mapi {
namespace {

// A stream takes 32-bit counts; a longer buffer is served in part.
ULONG Count(std::size_t size) noexcept {
    return static_cast<ULONG>(std::min<std::size_t>(size, std::numeric_limits<ULONG>::max()));
}

std::size_t CheckedCount(HRESULT result, ULONG count, std::size_t size, vek::SourceLocation place) {
    helpers::CheckHResult(result, place);
    if (count > size) vek::ThrowResult(vek::result::kUnexpected, place);
    return count;
}

}  // namespace

std::size_t Read(IStream& stream, std::span<std::byte> bytes, vek::SourceLocation place) {
    ULONG count = 0;
    const HRESULT result = stream.Read(bytes.data(), Count(bytes.size()), &count);
    return CheckedCount(result, count, bytes.size(), place);
}

std::size_t Write(IStream& stream, std::span<const std::byte> bytes, vek::SourceLocation place) {
    ULONG count = 0;
    const HRESULT result = stream.Write(bytes.data(), Count(bytes.size()), &count);
    return CheckedCount(result, count, bytes.size(), place);
}

std::size_t ReadFully(IStream& stream, std::span<std::byte> bytes, vek::SourceLocation place) {
    std::size_t total = 0;
    for (std::size_t count = 1; count != 0 && total != bytes.size(); total += count) {
        count = Read(stream, bytes.subspan(total), place);
    }
    return total;
}

std::uint64_t Seek(IStream& stream, std::int64_t offset, DWORD origin, vek::SourceLocation place) {
    LARGE_INTEGER move{};
    move.QuadPart = offset;
    ULARGE_INTEGER position{};
    helpers::CheckHResult(stream.Seek(move, origin, &position), place);
    return position.QuadPart;
}

std::uint64_t Size(IStream& stream, vek::SourceLocation place) {
    STATSTG facts{};
    helpers::CheckHResult(stream.Stat(&facts, STATFLAG_NONAME), place);
    return facts.cbSize.QuadPart;
}

void SetSize(IStream& stream, std::uint64_t size, vek::SourceLocation place) {
    ULARGE_INTEGER wanted{};
    wanted.QuadPart = size;
    helpers::CheckHResult(stream.SetSize(wanted), place);
}

}  // namespace plugins::mapi
