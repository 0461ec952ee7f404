#include "remote/rpc/binding_win32.h"

#include <charconv>

namespace remote {
namespace {

constexpr std::string_view kLocalPrefix = "VLRemote:";

template <class Number>
bool ReadNumber(std::string_view text, Number& number) noexcept {
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() && read.ptr == text.data() + text.size() && number != 0;
}

}  // namespace

std::string TextOf(const Endpoint& endpoint) {
    return std::string(ProtocolSequence(endpoint)) + ":" + EndpointName(endpoint);
}

bool ReadEndpoint(std::string_view text, Endpoint& endpoint) noexcept {
    endpoint = {};
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) return false;
    const std::string_view protocol = text.substr(0, colon);
    std::string_view name = text.substr(colon + 1);
    if (protocol == kTcpProtocol) return ReadNumber(name, endpoint.tcp_port);
    if (protocol != kLocalProtocol || !name.starts_with(kLocalPrefix)) return false;
    std::int32_t id = 0;
    if (!ReadNumber(name.substr(kLocalPrefix.size()), id)) return false;
    endpoint.local_id = static_cast<std::uint32_t>(id);
    return true;
}

RPC_STATUS RpcBinding::To(const Endpoint& endpoint, RpcBinding& binding) {
    std::string protocol(ProtocolSequence(endpoint));
    std::string address = endpoint.local_id != 0 ? std::string() : std::string("127.0.0.1");
    std::string name = EndpointName(endpoint);
    RPC_CSTR text = nullptr;
    RPC_STATUS status = ::RpcStringBindingComposeA(nullptr, ToRpc(protocol), ToRpc(address),
                                                   ToRpc(name), nullptr, &text);
    if (status != RPC_S_OK) return status;
    RpcBinding made;
    status = ::RpcBindingFromStringBindingA(text, &made.value_);
    ::RpcStringFreeA(&text);
    binding = std::move(made);
    return status;
}

}  // namespace remote
