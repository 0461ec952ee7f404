#pragma once

// An object to be called from another process by benchmarks.

#include <algorithm>
#include <cstring>

#include "bench/remote_service.h"
#include "vek/remoting/describe.h"

namespace bench {

// The bytes that a frame, a packet, a call of Echo and its arguments add to the payload.
inline constexpr std::uint32_t kAroundRequest = 8 + 20 + 20 + 9;
inline constexpr std::uint32_t kAroundReply = 8 + 20 + 8 + 13;

struct IEcho : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x10000001;

    // Gives back what it gets, as far as there is room for it.
    virtual vek::result_t Echo(std::span<const std::byte> bytes, std::span<std::byte> same,
                               std::uint32_t& count) noexcept = 0;
    // Fills all of the buffer.
    virtual vek::result_t Fill(std::span<std::byte> buffer, std::uint32_t& count) noexcept = 0;

protected:
    ~IEcho() = default;
};

class EchoService final : public vek::ObjectImpl<IEcho> {
public:
    vek::result_t Echo(std::span<const std::byte> bytes, std::span<std::byte> same,
                       std::uint32_t& count) noexcept override {
        count = static_cast<std::uint32_t>(std::min(bytes.size(), same.size()));
        std::memcpy(same.data(), bytes.data(), count);
        return vek::result::kOk;
    }
    vek::result_t Fill(std::span<std::byte> buffer, std::uint32_t& count) noexcept override {
        count = static_cast<std::uint32_t>(buffer.size());
        std::memset(buffer.data(), 1, buffer.size());
        return vek::result::kOk;
    }
};

}  // namespace bench

namespace vek::remoting {
VEK_REMOTE_INTERFACE(bench::IEcho, (Echo, method_attribute::kNone), (Fill, method_attribute::kNone))
}

namespace bench {

inline Factories EchoFactories() {
    return std::make_shared<const vek::remoting::ProxyStubFactories>(std::vector{
        vek::remoting::FactoryOf<vek::IServiceLocator>(), vek::remoting::FactoryOf<IEcho>()});
}

}  // namespace bench
