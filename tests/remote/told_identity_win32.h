#pragma once

#include "remote/rpc/identity_win32.h"

namespace tests {

// In the place of the system while it exists, it says that all are this process, unless told
// otherwise.
struct ToldIdentity final : remote::IdentitySource {
    ToldIdentity() : caller(Self()) { remote::SetIdentitySource(this); }
    ~ToldIdentity() override { remote::SetIdentitySource(nullptr); }

    std::uint32_t CallingProcess(RPC_BINDING_HANDLE) noexcept override {
        return caller ? caller->process_id : 0;
    }
    std::optional<remote::PeerIdentity> Caller(RPC_BINDING_HANDLE) override { return caller; }
    RPC_STATUS RequireServer(RPC_BINDING_HANDLE, const remote::Endpoint&,
                             const std::string& account) override {
        required = account;
        return server;
    }
    std::optional<remote::PeerIdentity> Self() override {
        return remote::PeerIdentity{::GetCurrentProcessId(), 1, "S-1-5-21-1"};
    }

    std::optional<remote::PeerIdentity> caller;
    RPC_STATUS server = RPC_S_OK;
    std::string required;
};

}  // namespace tests
