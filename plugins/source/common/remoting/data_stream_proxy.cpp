#include "common/remoting/data_stream_proxy.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace plugins::remoting {

using vek::Failed;
using vek::result_t;
namespace result = vek::result;

DataStreamProxy::DataStreamProxy(std::shared_ptr<vek::remoting::RemoteObject> object) noexcept
    : Remote(std::move(object)) {}

std::uint64_t DataStreamProxy::ChangeCount() const noexcept {
    vek::remoting::StubAddress address;
    if (Failed(object().Resolve(address))) return std::numeric_limits<std::uint64_t>::max();
    return address.connection->sender().change_count();
}

std::span<const std::byte> DataStreamProxy::unread() const noexcept {
    return {ahead_.get() + taken_, filled_ - taken_};
}

bool DataStreamProxy::AheadIsGood() const noexcept { return ChangeCount() == change_count_; }

result_t DataStreamProxy::GoBack() noexcept {
    const std::size_t beyond = unread().size();
    at_end_ = false;
    if (beyond == 0) return result::kOk;
    std::uint64_t position;
    const result_t code =
        Remote::Seek(-static_cast<std::int64_t>(beyond), SeekOrigin::kCurrent, position);
    if (!Failed(code)) filled_ = taken_ = 0;
    return code;
}

result_t DataStreamProxy::ReadThrough(std::span<std::byte> buffer, std::size_t& read) noexcept {
    filled_ = taken_ = 0;
    at_end_ = false;
    read = 0;
    while (read < buffer.size()) {
        const auto piece =
            buffer.subspan(read, std::min(buffer.size() - read, vek::remoting::kMaxOutBytes));
        std::uint32_t got = 0;
        const result_t code = Remote::Read(piece, got);
        if (Failed(code)) return code;
        read += std::min<std::size_t>(got, piece.size());
        if (got < piece.size()) break;
    }
    return result::kOk;
}

// Called when nothing that was read ahead is left.
result_t DataStreamProxy::ReadAhead(std::span<std::byte> buffer, std::size_t& read) noexcept {
    const std::size_t size = next_ahead_;
    if (capacity_ < size) {
        ahead_.reset(new (std::nothrow) std::byte[size]);  // not initialised
        capacity_ = ahead_ ? size : 0;
        if (!ahead_) return ReadThrough(buffer, read);
    }
    change_count_ = ChangeCount();
    const result_t code = ReadThrough({ahead_.get(), size}, read);
    if (Failed(code)) return code;
    filled_ = read;
    at_end_ = read < size;

    taken_ = read = std::min(filled_, buffer.size());
    if (taken_ > 0) std::memcpy(buffer.data(), ahead_.get(), taken_);
    return result::kOk;
}

result_t DataStreamProxy::Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept {
    if (buffer.size() > std::numeric_limits<std::uint32_t>::max()) return result::kInvalidArgument;
    if ((filled_ > 0 || at_end_) && !AheadIsGood()) {
        const result_t code = GoBack();
        if (Failed(code)) return code;
    }

    const std::size_t had = std::min(unread().size(), buffer.size());
    if (had > 0) std::memcpy(buffer.data(), unread().data(), had);
    taken_ += had;
    const auto rest = buffer.subspan(had);
    std::size_t got = 0;
    if (!rest.empty() && !at_end_) {
        // A long read gains nothing from going ahead of it.
        const result_t code =
            rest.size() < next_ahead_ ? ReadAhead(rest, got) : ReadThrough(rest, got);
        if (Failed(code)) return code;
        next_ahead_ = std::min(2 * std::max(next_ahead_, rest.size()), kMaxAhead);
    }
    read = static_cast<std::uint32_t>(had + got);
    return result::kOk;
}

result_t DataStreamProxy::Write(std::span<const std::byte> bytes, std::uint32_t& written) noexcept {
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) return result::kInvalidArgument;
    result_t code = GoBack();
    std::size_t done = 0;
    while (!Failed(code)) {
        const auto piece = bytes.subspan(done, std::min(bytes.size() - done, kMaxWritten));
        std::uint32_t got = 0;
        code = Remote::Write(piece, got);
        if (Failed(code)) break;
        done += std::min<std::size_t>(got, piece.size());
        if (got < piece.size() || done == bytes.size()) {
            written = static_cast<std::uint32_t>(done);
            break;
        }
    }
    return code;
}

result_t DataStreamProxy::Seek(std::int64_t offset, SeekOrigin origin,
                               std::uint64_t& position) noexcept {
    if (origin == SeekOrigin::kCurrent) {
        const result_t code = GoBack();
        if (Failed(code)) return code;
    }
    const result_t code = Remote::Seek(offset, origin, position);
    if (!Failed(code)) {
        filled_ = taken_ = 0;
        at_end_ = false;
    }
    return code;
}

}  // namespace plugins::remoting
