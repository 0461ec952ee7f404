#pragma once

#include <cstddef>
#include <memory>

#include "common/remoting/interface_descriptions.h"

namespace plugins::remoting {

// A stream of the other process. Reads go ahead of need, in growing pieces, so that a reader that
// goes on to the end crosses the border seldom, and one that looks at the beginning alone does not
// pay for the rest. What was read ahead is dropped when anything was changed through the same
// connection since: the reader sees what it would see without.
class DataStreamProxy final : public vek::remoting::Proxy<plugins::mail_processing::IDataStream> {
public:
    using SeekOrigin = plugins::mail_processing::SeekOrigin;

    static constexpr std::size_t kFirstAhead = std::size_t{16} << 10;
    static constexpr std::size_t kMaxAhead = vek::remoting::kMaxOutBytes;

    // A long write goes in pieces of this size.
    static constexpr std::size_t kMaxWritten = std::size_t{4} << 20;

    explicit DataStreamProxy(std::shared_ptr<vek::remoting::RemoteObject> object) noexcept;

    vek::result_t Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept override;
    vek::result_t Write(std::span<const std::byte> bytes, std::uint32_t& written) noexcept override;
    vek::result_t Seek(std::int64_t offset, SeekOrigin origin,
                       std::uint64_t& position) noexcept override;

private:
    using Remote = vek::remoting::Proxy<plugins::mail_processing::IDataStream>;

    // Changes made through the connection so far; a number beyond all when it cannot be reached.
    std::uint64_t ChangeCount() const noexcept;
    std::span<const std::byte> unread() const noexcept;
    bool AheadIsGood() const noexcept;

    // Puts the other process's position where this stream's reader is.
    vek::result_t GoBack() noexcept;
    // Reads from the other process into all of `buffer`, or up to the end.
    vek::result_t ReadThrough(std::span<std::byte> buffer, std::size_t& read) noexcept;
    // Fills the storage below from the other process and gives its beginning to `buffer`.
    vek::result_t ReadAhead(std::span<std::byte> buffer, std::size_t& read) noexcept;

    std::unique_ptr<std::byte[]> ahead_;
    std::size_t capacity_ = 0;        // of ahead_
    std::size_t filled_ = 0;          // of that, by the last read
    std::size_t taken_ = 0;           // of that, by the caller
    bool at_end_ = false;             // nothing follows what was read ahead
    std::uint64_t change_count_ = 0;  // when it was read
    std::size_t next_ahead_ = kFirstAhead;
};

}  // namespace plugins::remoting
