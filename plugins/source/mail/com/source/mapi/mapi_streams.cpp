#include "mapi/mapi_streams.h"

#include "internal/helpers/hresult_exception.h"

namespace plugins::mapi {

std::uint64_t Seek(IStream& stream, std::int64_t offset, DWORD origin, vek::SourcePlace place) {
    LARGE_INTEGER move{};
    move.QuadPart = offset;
    ULARGE_INTEGER position{};
    helpers::CheckHResult(stream.Seek(move, origin, &position), place);
    return position.QuadPart;
}

std::uint64_t Size(IStream& stream, vek::SourcePlace place) {
    STATSTG facts{};
    helpers::CheckHResult(stream.Stat(&facts, STATFLAG_NONAME), place);
    return facts.cbSize.QuadPart;
}

void SetSize(IStream& stream, std::uint64_t size, vek::SourcePlace place) {
    ULARGE_INTEGER wanted{};
    wanted.QuadPart = size;
    helpers::CheckHResult(stream.SetSize(wanted), place);
}

}  // namespace plugins::mapi
