#include "common/remoting/data_stream_proxy.h"

#include <algorithm>
#include <limits>

namespace plugins::remoting {
namespace {

// Has `transfer` move `bytes` in pieces of at most `longest`; `moved` is what it moved in all, and
// as it was when it fails. An empty range is a call, too.
template <class Byte, class Transfer>
vek::result_t InPieces(std::span<Byte> bytes, std::size_t longest, std::uint32_t& moved,
                       Transfer transfer) noexcept {
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max())
        return vek::result::kInvalidArgument;
    std::size_t done = 0;
    for (;;) {
        const auto piece = bytes.subspan(done, std::min(bytes.size() - done, longest));
        std::uint32_t count = 0;
        const vek::result_t code = transfer(piece, count);
        if (vek::Failed(code)) return code;
        done += std::min<std::size_t>(count, piece.size());
        if (count < piece.size() || done == bytes.size()) {
            moved = static_cast<std::uint32_t>(done);
            return code;
        }
    }
}

}  // namespace

vek::result_t DataStreamProxy::Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept {
    return InPieces(buffer, kMaxRead, read, [this](auto piece, std::uint32_t& count) noexcept {
        return Remote::Read(piece, count);
    });
}

vek::result_t DataStreamProxy::Write(std::span<const std::byte> bytes,
                                     std::uint32_t& written) noexcept {
    return InPieces(bytes, kMaxWritten, written, [this](auto piece, std::uint32_t& count) noexcept {
        return Remote::Write(piece, count);
    });
}

}  // namespace plugins::remoting
