#include "remote/rpc/server_win32.h"

#include <rpc.h>

#include <chrono>
#include <random>
#include <set>
#include <vector>

#include "remote/rpc/binding_win32.h"
#include "remote/rpc/call_win32.h"
#include "rpc_transport.h"
#include "vek/core/throw.h"

namespace remote {
namespace {

namespace result = vek::result;

// No request is that long: what a packet may be and what a call adds to it.
constexpr unsigned kMaxCallSize = static_cast<unsigned>(kMaxPacketSize) + 4096;

constexpr std::chrono::seconds kServingTimeout{2};

// No connection has it.
constexpr std::uint64_t kNoToken = 0;

// Asked for each client: none is of another machine, whatever the protocol.
RPC_STATUS RPC_ENTRY CheckClient(RPC_IF_HANDLE, void* binding) {
    unsigned local = FALSE;
    const RPC_STATUS status = ::I_RpcBindingIsClientLocal(binding, &local);
    // A runtime without that function does not refuse anybody.
    return status == RPC_S_OK && local == FALSE ? RPC_S_ACCESS_DENIED : RPC_S_OK;
}

vek::result_t OpenResult(RPC_STATUS status) noexcept {
    switch (status) {
        case RPC_S_OK:
            return result::kOk;
        case RPC_S_DUPLICATE_ENDPOINT:
        case RPC_S_CANT_CREATE_ENDPOINT:
            return kEndpointTaken;
        case RPC_S_ACCESS_DENIED:
            return result::kAccessDenied;
        default:
            return result::kInsufficientResources;
    }
}

std::uint64_t NewToken() {
    std::random_device random;
    const std::uint64_t high = random();
    return high << 32 | random();
}

// The ports that this process has of `bindings`.
std::set<std::uint16_t> TcpPorts() {
    std::set<std::uint16_t> ports;
    RPC_BINDING_VECTOR* bindings = nullptr;
    if (::RpcServerInqBindings(&bindings) != RPC_S_OK) return ports;
    for (unsigned long i = 0; i < bindings->Count; ++i) {
        RPC_CSTR text = nullptr;
        if (::RpcBindingToStringBindingA(bindings->BindingH[i], &text) != RPC_S_OK) continue;
        // "ncacn_ip_tcp:address[port]"
        const std::string binding(reinterpret_cast<const char*>(text));
        ::RpcStringFreeA(&text);
        const std::size_t open = binding.find('[');
        if (!binding.starts_with(kTcpProtocol) || open == std::string::npos) continue;
        Endpoint endpoint;
        const std::string name = binding.substr(open + 1, binding.find(']') - open - 1);
        if (ReadEndpoint(std::string(kTcpProtocol) + ":" + name, endpoint)) {
            ports.insert(endpoint.tcp_port);
        }
    }
    ::RpcBindingVectorFree(&bindings);
    return ports;
}

// A runtime may open an endpoint on a thread of its own, after it was said to be open: waits until
// a call arrives there.
void AwaitServing(const Endpoint& endpoint) {
    RpcBinding binding;
    if (RpcBinding::To(endpoint, binding) != RPC_S_OK) return;
    const auto end = std::chrono::steady_clock::now() + kServingTimeout;
    while (Guarded([&] { ::CallDisconnect(binding.get(), kNoToken); }) ==
               RPC_S_SERVER_UNAVAILABLE &&
           std::chrono::steady_clock::now() < end) {
        ::Sleep(1);
    }
}

}  // namespace

RpcServer& RpcServer::Get() noexcept {
    static RpcServer server;
    return server;
}

RpcServer::Use::Use() {
    RpcServer& server = Get();
    const std::lock_guard guard(server.use_lock_);
    if (server.uses_ == 0) {
        // Served by the runtime's own threads, whether or not the program around listens.
        const RPC_STATUS status =
            ::RpcServerRegisterIf2(ServeRemotePackets_v1_0_s_ifspec, nullptr, nullptr,
                                   RPC_IF_AUTOLISTEN | RPC_IF_ALLOW_CALLBACKS_WITH_NO_AUTH,
                                   RPC_C_LISTEN_MAX_CALLS_DEFAULT, kMaxCallSize, CheckClient);
        if (status != RPC_S_OK) vek::ThrowSystem(result::kPlatformError);
    }
    ++server.uses_;
}

RpcServer::Use::~Use() {
    RpcServer& server = Get();
    const std::lock_guard guard(server.use_lock_);
    if (--server.uses_ == 0) {
        // Not waiting for the calls: this may be one of them.
        ::RpcServerUnregisterIf(ServeRemotePackets_v1_0_s_ifspec, nullptr, FALSE);
    }
}

vek::result_t RpcServer::Open(Endpoint& endpoint) {
    const std::string text = TextOf(endpoint);
    {
        const std::lock_guard guard(lock_);
        if (endpoint == Endpoint()) return OpenAnyPort(endpoint);
        const auto found = opened_.find(text);
        if (found != opened_.end() && found->second) return result::kOk;
        std::string protocol(ProtocolSequence(endpoint));
        std::string name = EndpointName(endpoint);
        if (found == opened_.end()) {
            const auto code = OpenResult(::RpcServerUseProtseqEpA(
                ToRpc(protocol), RPC_C_PROTSEQ_MAX_REQS_DEFAULT, ToRpc(name), nullptr));
            if (vek::Failed(code)) return code;
            opened_.emplace(text, false);
        }
    }
    AwaitServing(endpoint);
    const std::lock_guard guard(lock_);
    opened_[text] = true;
    return result::kOk;
}

vek::result_t RpcServer::OpenAnyPort(Endpoint& endpoint) {
    const std::set<std::uint16_t> before = TcpPorts();
    std::string protocol(kTcpProtocol);
    const auto code = OpenResult(
        ::RpcServerUseProtseqA(ToRpc(protocol), RPC_C_PROTSEQ_MAX_REQS_DEFAULT, nullptr));
    if (vek::Failed(code)) return code;
    // Some runtimes open one port alone, however often they are asked.
    for (const std::uint16_t port : TcpPorts()) {
        const Endpoint opened{0, port};
        if (before.contains(port) && listeners_.contains(TextOf(opened))) continue;
        endpoint = opened;
        opened_.emplace(TextOf(opened), true);
        return result::kOk;
    }
    return result::kInsufficientResources;
}

vek::result_t RpcServer::OpenOwn(const Endpoint& peer, Endpoint& own) {
    if (peer.local_id != 0) {
        own = {::GetCurrentProcessId(), 0};
        return Open(own);
    }
    const std::lock_guard guard(lock_);
    const std::set<std::uint16_t> ports = TcpPorts();
    if (ports.empty()) return OpenAnyPort(own);
    own = {0, *ports.begin()};
    return result::kOk;
}

bool RpcServer::AddListener(const Endpoint& endpoint, std::shared_ptr<AcceptGate> gate) {
    const std::lock_guard guard(lock_);
    return listeners_.emplace(TextOf(endpoint), std::move(gate)).second;
}

void RpcServer::RemoveListener(const Endpoint& endpoint) noexcept {
    const std::lock_guard guard(lock_);
    listeners_.erase(TextOf(endpoint));
}

std::shared_ptr<AcceptGate> RpcServer::ListenerAt(const std::string& endpoint) noexcept {
    const std::lock_guard guard(lock_);
    const auto found = listeners_.find(endpoint);
    return found != listeners_.end() ? found->second : nullptr;
}

std::uint64_t RpcServer::AddConnection(const std::shared_ptr<RpcConnection>& connection) {
    const std::lock_guard guard(lock_);
    for (;;) {
        const std::uint64_t token = NewToken();
        if (token != kNoToken && connections_.emplace(token, connection).second) return token;
    }
}

void RpcServer::RemoveConnection(std::uint64_t token) noexcept {
    const std::lock_guard guard(lock_);
    connections_.erase(token);
}

std::shared_ptr<RpcConnection> RpcServer::ConnectionOf(std::uint64_t token) noexcept {
    const std::lock_guard guard(lock_);
    const auto found = connections_.find(token);
    return found != connections_.end() ? found->second.lock() : nullptr;
}

}  // namespace remote
