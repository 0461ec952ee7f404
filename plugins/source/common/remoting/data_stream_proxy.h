#pragma once

#include <memory>

#include "common/remoting/interface_descriptions.h"

namespace plugins::remoting {

// A stream of the other process. Each call is one request, but for those that are longer than a
// request may be: these go in pieces, and end with the first piece that fails or comes up short.
// Keeps nothing of the stream, so any thread may call at any time.
class DataStreamProxy final : public vek::remoting::Proxy<plugins::mail_processing::IDataStream> {
public:
    // The longest read and write that go as they are.
    static constexpr std::size_t kMaxRead = vek::remoting::kMaxOutBytes;
    static constexpr std::size_t kMaxWritten = std::size_t{4} << 20;

    using Remote = vek::remoting::Proxy<plugins::mail_processing::IDataStream>;
    using Remote::Remote;

    vek::result_t Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept override;
    vek::result_t Write(std::span<const std::byte> bytes, std::uint32_t& written) noexcept override;
};

}  // namespace plugins::remoting
