#include "remote/rpc/binding_win32.h"

namespace remote {
std::string TextOf(const Endpoint& endpoint) {
    return std::string(ProtocolSequence(endpoint)) + ":" + EndpointName(endpoint);
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
