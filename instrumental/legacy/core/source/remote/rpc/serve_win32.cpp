// The operations of the interface, as peers call them, and the listener that one of them asks.
// Called on threads of the RPC runtime's.

#include <rpc.h>

#include <cstdlib>

#include "remote/establish.h"
#include "remote/rpc/connection_win32.h"
#include "remote/rpc/server_win32.h"
#include "rpc_transport.h"
#include "vek/core/border.h"

namespace remote {
namespace {

namespace result = vek::result;

class RpcListener final : public Listener {
public:
    RpcListener(const Endpoint& endpoint, std::shared_ptr<AcceptGate> gate)
        : endpoint_(endpoint), gate_(std::move(gate)) {}

    ~RpcListener() override {
        if (listens_) RpcServer::Get().RemoveListener(endpoint_);
        gate_->Close();
    }

    vek::result_t Start() {
        if (const auto code = RpcServer::Get().Open(endpoint_); vek::Failed(code)) return code;
        listens_ = RpcServer::Get().AddListener(endpoint_, gate_);
        return listens_ ? result::kOk : kEndpointTaken;
    }

    Endpoint endpoint() const noexcept override { return endpoint_; }

private:
    const RpcServer::Use use_;
    Endpoint endpoint_;
    const std::shared_ptr<AcceptGate> gate_;
    bool listens_ = false;
};

// A client as it says of itself in connecting.
struct Caller {
    std::string listener;  // the one that it wants, as TextOf(Endpoint) writes it
    std::uint32_t process_id;
    std::string endpoint;  // where it can be called, and under what
    std::uint64_t token;
};

// Lets a listener decide. `token` is what the caller is to call under.
vek::result_t TakeIn(const Caller& caller, const AcceptPeer& accept, const TransportConfig& config,
                     std::uint64_t& token) {
    if (!IsProcessAllowed(caller.process_id, config.peer_check)) {
        return RefusePeer(caller.process_id, "it may not connect", config);
    }
    Endpoint endpoint;
    RpcBinding binding;
    if (!ReadEndpoint(caller.endpoint, endpoint) || RpcBinding::To(endpoint, binding) != RPC_S_OK) {
        return RefusePeer(caller.process_id, "it cannot be called", config);
    }
    const auto connection = RpcConnection::Create(config);
    connection->SetPeer(std::move(binding), caller.token, caller.process_id);
    const auto transport = std::make_shared<PeerTransport>(connection);
    // The caller learns it by this call's return, and serves nobody before.
    const vek::result_t admitted = AdmitPeer(transport, accept, config, [] {});
    if (vek::Failed(admitted)) {
        connection->Lose("it is not accepted");
    } else {
        token = connection->token();
    }
    return admitted;
}

// kNotReady when this process has no such listener, kAccessDenied when it does not want the caller.
vek::result_t TakeIn(const Caller& caller, std::uint64_t& token) {
    vek::result_t code = result::kNotReady;
    if (const auto gate = RpcServer::Get().ListenerAt(caller.listener)) {
        gate->Enter([&](const AcceptPeer& accept, const TransportConfig& config) {
            code = TakeIn(caller, accept, config, token);
        });
    }
    return code;
}

std::string Text(const unsigned char* text) { return reinterpret_cast<const char*>(text); }

}  // namespace

vek::result_t ListenForPeers(const Endpoint& endpoint, std::shared_ptr<AcceptGate> gate,
                             std::unique_ptr<Listener>& listener) {
    auto made = std::make_unique<RpcListener>(endpoint, std::move(gate));
    const vek::result_t code = made->Start();
    if (vek::Succeeded(code)) listener = std::move(made);
    return code;
}

}  // namespace remote

extern "C" {

// The stubs allocate on the C heap, where a PacketBuffer's bytes come from too.
void* __RPC_USER midl_user_allocate(std::size_t size);
void* __RPC_USER midl_user_allocate(std::size_t size) { return std::malloc(size); }

void __RPC_USER midl_user_free(void* bytes);
void __RPC_USER midl_user_free(void* bytes) { std::free(bytes); }

LONG ServeConnect(handle_t, const unsigned char* endpoint, ULONG caller_process,
                  const unsigned char* caller_endpoint, MIDL_uhyper caller_token, ULONG* process,
                  MIDL_uhyper* token, link_t* link) {
    *process = ::GetCurrentProcessId();
    *token = 0;
    *link = nullptr;
    return static_cast<LONG>(vek::AtBorder([&] {
        const std::uint32_t caller_id = remote::CallingProcess(caller_process);
        if (caller_id == 0) return vek::result::kAccessDenied;
        std::uint64_t made = 0;
        const vek::result_t code = remote::TakeIn(
            {remote::Text(endpoint), caller_id, remote::Text(caller_endpoint), caller_token}, made);
        *token = made;
        *link = reinterpret_cast<link_t>(made);
        return code;
    }));
}

LONG ServeSendReceive(handle_t, MIDL_uhyper token, ULONG depth, ULONG size, const byte* packet,
                      ULONG* reply_size, byte** reply) {
    *reply_size = 0;
    *reply = nullptr;
    const auto connection = remote::RpcServer::Get().ConnectionOf(token);
    if (!connection) return static_cast<LONG>(remote::kUnknownToken);
    std::span<std::byte> bytes;
    const vek::result_t code =
        connection->Serve(depth, {reinterpret_cast<const std::byte*>(packet), size}, bytes);
    *reply_size = static_cast<unsigned long>(bytes.size());
    *reply = reinterpret_cast<byte*>(bytes.data());
    return static_cast<LONG>(code);
}

LONG ServeDisconnect(handle_t, MIDL_uhyper token) {
    const auto connection = remote::RpcServer::Get().ConnectionOf(token);
    if (connection) connection->Lose("the peer has closed it");
    return 0;
}

// The runtime has lost a client that had connected.
void __RPC_USER link_t_rundown(link_t link) {
    const auto token = reinterpret_cast<std::uint64_t>(link);
    if (const auto connection = remote::RpcServer::Get().ConnectionOf(token)) {
        connection->Lose("the peer has gone");
    }
}

}  // extern "C"
