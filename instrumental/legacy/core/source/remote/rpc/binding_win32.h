#pragma once

#include <rpc.h>

#include <string>
#include <utility>

#include "remote/endpoint.h"

namespace remote {

// A view of the text as the runtime takes it, which does not write to it.
inline RPC_CSTR ToRpc(std::string& text) noexcept {
    return reinterpret_cast<RPC_CSTR>(text.data());
}

// An endpoint as a text: the protocol sequence, ":" and the name.
std::string TextOf(const Endpoint& endpoint);

// Owns the client's handle to a server. Any thread, several at once.
class RpcBinding {
public:
    RpcBinding() noexcept = default;
    RpcBinding(RpcBinding&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
    RpcBinding& operator=(RpcBinding&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    ~RpcBinding() {
        if (value_ != nullptr) ::RpcBindingFree(&value_);
    }

    // To `endpoint` of this machine; nobody need be there.
    static RPC_STATUS To(const Endpoint& endpoint, RpcBinding& binding);

    RPC_BINDING_HANDLE get() const noexcept { return value_; }

private:
    RPC_BINDING_HANDLE value_ = nullptr;
};

}  // namespace remote
