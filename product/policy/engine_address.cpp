#include "product/policy/engine_address.h"

#include <algorithm>
#include <charconv>

namespace reference_product {
namespace {

constexpr std::uint16_t kClamdPort = 3310;
constexpr std::size_t kLongestPath = 107;  // what an address of a socket holds
constexpr std::size_t kLongestHost = 253;

bool TakeStart(std::string_view& text, std::string_view start) {
    if (!text.starts_with(start)) return false;
    text.remove_prefix(start.size());
    return true;
}

bool ConsistsOf(std::string_view text, std::string_view others) {
    return std::ranges::all_of(text, [others](char letter) {
        return (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'z') ||
               (letter >= 'A' && letter <= 'Z') || others.find(letter) != others.npos;
    });
}

// Takes a host off the text: all before the port, if there is one.
std::optional<std::string> TakeHost(std::string_view& text) {
    const bool in_brackets = TakeStart(text, "[");
    const std::size_t end = text.find(in_brackets ? ']' : ':');
    if (in_brackets && end == text.npos) return std::nullopt;
    const std::string_view host = text.substr(0, end);
    if (host.empty() || host.size() > kLongestHost) return std::nullopt;
    if (!ConsistsOf(host, in_brackets ? ":.%" : ".-_")) return std::nullopt;
    if (in_brackets && host.find(':') == host.npos) return std::nullopt;
    text.remove_prefix(host.size() + in_brackets);
    return std::string(host);
}

}  // namespace

std::optional<EngineAddress> ParseEngineAddress(std::string_view text) {
    if (TakeStart(text, "unix:")) {
        const bool is_path =
            text.starts_with('/') && text.size() <= kLongestPath && text.find('\0') == text.npos;
        if (!is_path) return std::nullopt;
        return EngineAddress{std::string(text), {}, 0};
    }
    if (!TakeStart(text, "tcp:")) return std::nullopt;
    std::optional<std::string> host = TakeHost(text);
    if (!host) return std::nullopt;
    EngineAddress address{{}, *std::move(host), kClamdPort};
    if (text.empty()) return address;
    if (!TakeStart(text, ":")) return std::nullopt;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, address.port);
    if (error != std::errc() || parsed != end || address.port == 0) return std::nullopt;
    return address;
}

std::string ToText(const EngineAddress& address) {
    if (!address.path.empty()) return "unix:" + address.path;
    const bool has_colon = address.host.find(':') != address.host.npos;
    return "tcp:" + (has_colon ? '[' + address.host + ']' : address.host) + ':' +
           std::to_string(address.port);
}

}  // namespace reference_product
