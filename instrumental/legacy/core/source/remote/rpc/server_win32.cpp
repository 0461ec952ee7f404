#include "remote/rpc/server_win32.h"

#include <windows.h>
// After windows.h, which it needs.
#include <sddl.h>

#include <charconv>
#include <chrono>
#include <random>
#include <set>
#include <vector>

#include "remote/rpc/binding_win32.h"
#include "remote/rpc/call_win32.h"
#include "remote/rpc/identity_win32.h"
#include "remote/rpc/raw_call_win32.h"
#include "vek/core/never_destroyed.h"
#include "vek/core/throw.h"
#include "vek/platform/handle_win32.h"

namespace remote {
namespace {

namespace result = vek::result;

constexpr std::chrono::seconds kServingTimeout{2};

// No connection has it.
constexpr std::uint64_t kNoToken = 0;

// How often a local id that somebody has is followed by another.
constexpr int kLocalIdAttempts = 8;

// Asked for each client: the system must know its process, so it is of this machine and over the
// local protocol. Wine does not ask; the operations ask themselves.
RPC_STATUS RPC_ENTRY CheckClient(RPC_IF_HANDLE, void* binding) {
    return TheIdentitySource().CallingProcess(binding) != 0 ? RPC_S_OK : RPC_S_ACCESS_DENIED;
}

// Registers the interface for calls of `accounts`, which the runtime serves on its own threads,
// whether or not the program around listens.
RPC_STATUS Register(const std::set<std::string>& accounts) {
    constexpr unsigned kFlags = RPC_IF_AUTOLISTEN | RPC_IF_ALLOW_CALLBACKS_WITH_NO_AUTH;
    constexpr auto kMaxSize = static_cast<unsigned>(kMaxCallSize);
    // Windows 8 and later have it.
    using register_t = RPC_STATUS(RPC_ENTRY*)(RPC_IF_HANDLE, UUID*, RPC_MGR_EPV*, unsigned,
                                              unsigned, unsigned, RPC_IF_CALLBACK_FN*, void*);
    static const auto with_security = reinterpret_cast<register_t>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleW(L"rpcrt4.dll"), "RpcServerRegisterIf3")));
    if (with_security == nullptr) {
        return ::RpcServerRegisterIf2(ServedInterface(), nullptr, nullptr, kFlags,
                                      RPC_C_LISTEN_MAX_CALLS_DEFAULT, kMaxSize, CheckClient);
    }
    std::string text = "D:";
    for (const std::string& account : accounts) text += "(A;;GA;;;" + account + ")";
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (::ConvertStringSecurityDescriptorToSecurityDescriptorA(text.c_str(), SDDL_REVISION_1,
                                                               &descriptor, nullptr) == FALSE) {
        return RPC_S_INVALID_ARG;
    }
    const vek::platform::UniqueLocal<void> owned(descriptor);
    return with_security(ServedInterface(), nullptr, nullptr, kFlags,
                         RPC_C_LISTEN_MAX_CALLS_DEFAULT, kMaxSize, CheckClient, descriptor);
}

void Unregister() noexcept {
    // Not waiting for the calls: this may be one of them.
    ::RpcServerUnregisterIf(ServedInterface(), nullptr, FALSE);
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

// The number that `name` is, or 0.
std::uint16_t PortOf(std::string_view name) noexcept {
    std::uint16_t port = 0;
    const auto read = std::from_chars(name.data(), name.data() + name.size(), port);
    return read.ec == std::errc() && read.ptr == name.data() + name.size() ? port : 0;
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
        const auto port =
            PortOf(std::string_view(binding).substr(open + 1, binding.find(']') - open - 1));
        if (port != 0) ports.insert(port);
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
    wire::VerdictReply reply{};
    while (CallPeer(binding.get(), Operation::kDisconnect, wire::DisconnectRequest{kNoToken},
                    reply) == RPC_S_SERVER_UNAVAILABLE &&
           std::chrono::steady_clock::now() < end) {
        ::Sleep(1);
    }
}

// Not 0, and as the endpoint's name has it not negative.
std::uint32_t NewLocalId() { return static_cast<std::uint32_t>(NewToken() & 0x3FFFFFFF) + 1; }

}  // namespace

RpcServer& RpcServer::Get() noexcept {
    static vek::NeverDestroyed<RpcServer> server;
    return *server;
}

RpcServer::Use::Use(const TransportConfig& config) {
    std::string account = WantedAccount(config);
    const std::string own = WantedAccount({});  // whose calls tell whether an endpoint is open
    if (account.empty() || own.empty()) vek::ThrowSystem(result::kPlatformError);
    if (account == kAnyAccount) account = "AU";
    RpcServer& server = Get();
    const std::lock_guard guard(server.use_lock_);
    std::set<std::string> accounts = server.accounts_;
    accounts.insert({account, own});
    if (accounts != server.accounts_) {
        if (server.uses_ != 0) Unregister();
        if (Register(accounts) != RPC_S_OK) {
            if (server.uses_ != 0) Register(server.accounts_);
            vek::ThrowSystem(result::kPlatformError);
        }
        server.accounts_ = std::move(accounts);
    }
    ++server.uses_;
}

RpcServer::Use::~Use() {
    RpcServer& server = Get();
    const std::lock_guard guard(server.use_lock_);
    if (--server.uses_ != 0) return;
    Unregister();
    server.accounts_.clear();
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
    if (peer.local_id == 0) {
        const std::lock_guard guard(lock_);
        const std::set<std::uint16_t> ports = TcpPorts();
        if (ports.empty()) return OpenAnyPort(own);
        own = {0, *ports.begin()};
        return result::kOk;
    }
    {
        const std::lock_guard guard(own_lock_);
        own = own_;
    }
    if (own != Endpoint()) return result::kOk;
    // Without the lock, which no thread may keep for long. Of two that open one at once the first
    // one's is used.
    vek::result_t code = kEndpointTaken;
    for (int i = 0; code == kEndpointTaken && i < kLocalIdAttempts; ++i) {
        own = {NewLocalId(), 0};
        code = Open(own);
    }
    if (vek::Failed(code)) return code;
    const std::lock_guard guard(own_lock_);
    if (own_ == Endpoint()) own_ = own;
    own = own_;
    return code;
}

bool RpcServer::AddListener(const Endpoint& endpoint, std::shared_ptr<AcceptGate> gate) {
    const std::lock_guard guard(lock_);
    return listeners_.emplace(TextOf(endpoint), std::move(gate)).second;
}

bool RpcServer::RemoveListener(const Endpoint& endpoint) noexcept {
    const std::lock_guard guard(lock_);
    listeners_.erase(TextOf(endpoint));
    return listeners_.empty();
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
