#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace reference_product {

// The engines that settings and policy may name: the rules alone, or clamd with them.
inline constexpr std::string_view kRulesEngine = "rules";
inline constexpr std::string_view kClamdEngine = "clamd";

inline bool IsEngine(std::string_view name) { return name == kRulesEngine || name == kClamdEngine; }

inline constexpr std::size_t kMostEngineAddresses = 16;

// Where an engine is asked: the path of a Unix socket, or a host with its TCP port.
struct EngineAddress {
    std::string path;  // absolute; empty for TCP
    std::string host;  // a name or a number
    std::uint16_t port = 0;

    bool operator==(const EngineAddress&) const = default;
};

// Takes `unix:/path` and `tcp:host:port`; the port may be missing and is 3310 then, an IPv6 address
// stands in brackets. Nothing for any other text. Whether this system has such sockets, and the
// name a host, is found out when it is connected to.
std::optional<EngineAddress> ParseEngineAddress(std::string_view text);

// The address as it is written.
std::string ToText(const EngineAddress& address);

}  // namespace reference_product
