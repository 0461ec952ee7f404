#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "product/clamd/clamd_socket.h"

namespace reference_product {

asio::error_code OpenUninherited(ClamdProtocol::socket& socket, const ClamdProtocol& protocol) {
    asio::error_code error;
    const int descriptor =
        ::socket(protocol.family(), SOCK_STREAM | SOCK_CLOEXEC, protocol.protocol());
    if (descriptor < 0) return {errno, asio::error::get_system_category()};
    socket.assign(protocol, descriptor, error);
    if (error) ::close(descriptor);
    return error;
}

std::optional<ClamdProtocol::endpoint> UnixEndpoint(const std::string& path) {
    return asio::local::stream_protocol::endpoint(path);
}

}  // namespace reference_product
