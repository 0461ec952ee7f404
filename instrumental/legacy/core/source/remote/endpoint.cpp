#include "remote/endpoint.h"

#include <cstdio>

namespace remote {

std::string_view ProtocolSequence(const Endpoint& endpoint) noexcept {
    return endpoint.local_id != 0 ? kLocalProtocol : kTcpProtocol;
}

std::string EndpointName(const Endpoint& endpoint) {
    std::array<char, kEndpointNameSize> name;
    if (endpoint.local_id != 0) {
        std::snprintf(name.data(), name.size(), "VLRemote:%d", static_cast<int>(endpoint.local_id));
    } else {
        std::snprintf(name.data(), name.size(), "%d", static_cast<int>(endpoint.tcp_port));
    }
    return name.data();
}

}  // namespace remote
