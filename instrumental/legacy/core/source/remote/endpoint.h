#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace remote {

// Where a process can be reached.
struct Endpoint {
    std::uint32_t local_id = 0;  // "ncalrpc", the normal case, when it is not zero
    std::uint16_t tcp_port = 0;  // "ncacn_ip_tcp" on this machine otherwise

    bool operator==(const Endpoint&) const = default;
};

// An endpoint's name takes no more, its terminator included.
inline constexpr std::size_t kEndpointNameSize = 260;

// The RPC runtime's names of the two protocol sequences.
inline constexpr std::string_view kLocalProtocol = "ncalrpc";
inline constexpr std::string_view kTcpProtocol = "ncacn_ip_tcp";

std::string_view ProtocolSequence(const Endpoint& endpoint) noexcept;

// "VLRemote:42", or the number of the port.
std::string EndpointName(const Endpoint& endpoint);

}  // namespace remote
