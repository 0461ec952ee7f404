#include "product/clamd/clamd_socket.h"

namespace reference_product {

asio::error_code OpenUninherited(ClamdProtocol::socket& socket, const ClamdProtocol& protocol) {
    asio::error_code error;
    const SOCKET handle = ::WSASocketW(protocol.family(), SOCK_STREAM, protocol.protocol(), nullptr,
                                       0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (handle == INVALID_SOCKET) return {::WSAGetLastError(), asio::error::get_system_category()};
    socket.assign(protocol, handle, error);
    if (error) ::closesocket(handle);
    return error;
}

std::optional<ClamdProtocol::endpoint> UnixEndpoint(const std::string&) { return std::nullopt; }

}  // namespace reference_product
