#pragma once

// Sockets to clamd as the systems differ in them.

#include <asio.hpp>
#include <optional>
#include <string>

namespace reference_product {

using ClamdProtocol = asio::generic::stream_protocol;

// Opens a socket that no program inherits which this process starts.
asio::error_code OpenUninherited(ClamdProtocol::socket& socket, const ClamdProtocol& protocol);

// The endpoint of a Unix socket; nothing where the system has none.
std::optional<ClamdProtocol::endpoint> UnixEndpoint(const std::string& path);

}  // namespace reference_product
