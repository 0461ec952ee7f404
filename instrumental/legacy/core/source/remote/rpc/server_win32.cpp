#include "remote/rpc/server_win32.h"

#include <windows.h>
// After windows.h, which it needs.
#include <sddl.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <random>
#include <set>
#include <vector>

#include "remote/rpc/binding_win32.h"
#include "remote/rpc/call_win32.h"
#include "remote/rpc/identity_win32.h"
#include "remote/rpc/raw_call_win32.h"
#include "vek/core/border.h"
#include "vek/core/never_destroyed.h"
#include "vek/core/throw.h"
#include "vek/platform/handle_win32.h"
#include "vek/platform/system.h"

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

// For `accounts` and nobody else. Null when one of them is none.
vek::platform::UniqueLocal<void> DescriptorFor(const std::set<std::string>& accounts) {
    std::string text = "D:";
    for (const std::string& account : accounts) text += "(A;;GA;;;" + account + ")";
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ::ConvertStringSecurityDescriptorToSecurityDescriptorA(text.c_str(), SDDL_REVISION_1,
                                                           &descriptor, nullptr);
    return vek::platform::UniqueLocal<void>(descriptor);
}

// Registers the interface for calls of `accounts`, which the runtime serves on its own threads,
// whether or not the program around listens.
RPC_STATUS Register(const std::set<std::string>& accounts) {
    constexpr unsigned kFlags = RPC_IF_AUTOLISTEN | RPC_IF_ALLOW_CALLBACKS_WITH_NO_AUTH;
    constexpr auto kMaxSize = static_cast<unsigned>(kMaxCallSize);
    // Windows 8 and later have it.
    using register_t = RPC_STATUS(RPC_ENTRY*)(RPC_IF_HANDLE, UUID*, RPC_MGR_EPV*, unsigned,
                                              unsigned, unsigned, RPC_IF_CALLBACK_FN*, void*);
    const auto with_security = reinterpret_cast<register_t>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleW(L"rpcrt4.dll"), "RpcServerRegisterIf3")));
    if (with_security == nullptr) {
        return ::RpcServerRegisterIf2(ServedInterface(), nullptr, nullptr, kFlags,
                                      RPC_C_LISTEN_MAX_CALLS_DEFAULT, kMaxSize, CheckClient);
    }
    const vek::platform::UniqueLocal<void> descriptor = DescriptorFor(accounts);
    if (!descriptor) return RPC_S_INVALID_ARG;
    return with_security(ServedInterface(), nullptr, nullptr, kFlags,
                         RPC_C_LISTEN_MAX_CALLS_DEFAULT, kMaxSize, CheckClient, descriptor.get());
}

// For a moment: not waiting for the calls.
void Unregister() noexcept { ::RpcServerUnregisterIf(ServedInterface(), nullptr, FALSE); }

// For good: runs the clients down. Wine only says so, and runs them down when they are gone. Nor is
// it to wait for the calls there: the reply to a client that stands still counts as one.
void UnregisterAndRunDown() noexcept {
    if (IsWine()) return Unregister();
    ::RpcServerUnregisterIfEx(ServedInterface(), nullptr, TRUE);
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
template <class Number>
Number NumberOf(std::string_view name) noexcept {
    Number number = 0;
    const auto read = std::from_chars(name.data(), name.data() + name.size(), number);
    return read.ec == std::errc() && read.ptr == name.data() + name.size() ? number : 0;
}

// The numbers of the endpoints that this process has opened, whichever module did: of those over
// `protocol` whose names begin with `prefix`.
template <class Number>
std::set<Number> Opened(std::string_view protocol, std::string_view prefix) {
    std::set<Number> numbers;
    RPC_BINDING_VECTOR* bindings = nullptr;
    if (::RpcServerInqBindings(&bindings) != RPC_S_OK) return numbers;
    for (unsigned long i = 0; i < bindings->Count; ++i) {
        RPC_CSTR text = nullptr;
        if (::RpcBindingToStringBindingA(bindings->BindingH[i], &text) != RPC_S_OK) continue;
        // "ncacn_ip_tcp:address[port]"; before what would end a part there is a backslash.
        std::string binding(reinterpret_cast<const char*>(text));
        ::RpcStringFreeA(&text);
        std::erase(binding, '\\');
        const std::size_t open = binding.find('[');
        if (!binding.starts_with(protocol) || open == std::string::npos) continue;
        const auto name = std::string_view(binding).substr(open + 1, binding.find(']') - open - 1);
        if (!name.starts_with(prefix)) continue;
        if (const auto number = NumberOf<Number>(name.substr(prefix.size())); number != 0)
            numbers.insert(number);
    }
    ::RpcBindingVectorFree(&bindings);
    return numbers;
}

std::set<std::uint16_t> TcpPorts() { return Opened<std::uint16_t>(kTcpProtocol, ""); }

std::set<std::uint32_t> LocalIds() { return Opened<std::uint32_t>(kLocalProtocol, "VLRemote:"); }

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

// What the module's unloading would leave: no thread is left that uses it.
const vek::platform::UnloadStep RpcServer::forget_([]() noexcept {
    RpcServer& server = Get();
    server.opened_.clear();
    server.unregistering_.reset();
});

RpcServer::Use::Use(const TransportConfig& config) {
    std::string account = WantedAccount(config);
    const std::string own = WantedAccount({});  // whose calls tell whether an endpoint is open
    if (account.empty() || own.empty()) vek::ThrowSystem(result::kPlatformError);
    if (account == kInteractiveUsers) account = "IU";
    RpcServer& server = Get();
    const std::lock_guard one_at_a_time(server.registering_);
    std::set<std::string> accounts = server.accounts_;
    accounts.insert({account, own});
    const bool was_registered = server.registered_;
    if (!was_registered || accounts != server.accounts_) {
        if (was_registered) Unregister();
        if (Register(accounts) != RPC_S_OK) {
            if (was_registered) Register(server.accounts_);
            vek::ThrowSystem(result::kPlatformError);
        }
        server.accounts_ = std::move(accounts);
    }
    const std::lock_guard guard(server.use_lock_);
    if (!was_registered) server.hold_ = vek::platform::ModuleHold::Take();
    server.registered_ = true;
    ++server.uses_;
}

RpcServer::Use::~Use() {
    RpcServer& server = Get();
    const std::lock_guard guard(server.use_lock_);
    if (--server.uses_ == 0) server.StartUnregistering();
}

// With use_lock_. Not here: the runtime waits for the calls that it serves, and this may be one.
// Without a thread it stays registered, and the module loaded.
void RpcServer::StartUnregistering() noexcept {
    if (is_unregistering_) return;
    static_cast<void>(vek::AtBorder([this] {
        unregistering_ = vek::platform::TheSystem().StartThread([this] { UnregisterUnused(); });
        is_unregistering_ = unregistering_ != nullptr;
    }));
}

// No call that is served needs registering_ meanwhile: whatever could make a connection is a use.
void RpcServer::UnregisterUnused() noexcept {
    constexpr DWORD kLook = 10;  // ms
    for (;; ::Sleep(kLook)) {
        const std::lock_guard one_at_a_time(registering_);
        std::unique_lock guard(use_lock_);
        if (uses_ == 0 && registered_) {
            // Without use_lock_: it may last, and who asks meanwhile whether it is done waits no
            // longer than he likes.
            guard.unlock();
            UnregisterAndRunDown();
            accounts_.clear();
            guard.lock();
            registered_ = false;
        }
        if (uses_ == 0 && busy_ != 0) continue;
        // The calling thread holds the module, too.
        if (uses_ == 0) hold_ = {};
        is_unregistering_ = false;
        return;
    }
}

bool RpcServer::AwaitUnregistered(std::chrono::milliseconds timeout) noexcept {
    std::unique_ptr<vek::platform::Thread> thread;
    {
        const std::lock_guard guard(use_lock_);
        if (uses_ != 0) return false;
        // Where there was no thread for it before.
        if (registered_) StartUnregistering();
        thread = std::move(unregistering_);
    }
    const bool has_ended =
        !thread || thread->Wait(timeout) == vek::platform::WaitStatus::kSignalled;
    const std::lock_guard guard(use_lock_);
    if (!has_ended && !unregistering_) unregistering_ = std::move(thread);
    return has_ended && !registered_ && !is_unregistering_ && busy_ == 0;
}

std::set<std::string> RpcServer::Accounts() {
    const std::lock_guard one_at_a_time(registering_);
    return accounts_;
}

vek::result_t RpcServer::Open(Endpoint& endpoint) {
    const std::string text = TextOf(endpoint);
    const std::set<std::string> accounts = Accounts();
    {
        const std::lock_guard guard(lock_);
        if (endpoint == Endpoint()) return OpenAnyPort(endpoint);
        const auto found = opened_.find(text);
        if (found != opened_.end() && found->second.serves) return result::kOk;
        std::string protocol(ProtocolSequence(endpoint));
        std::string name = EndpointName(endpoint);
        if (found == opened_.end()) {
            const vek::platform::UniqueLocal<void> descriptor = DescriptorFor(accounts);
            if (!descriptor) return result::kInsufficientResources;
            const auto code = OpenResult(::RpcServerUseProtseqEpA(
                ToRpc(protocol), RPC_C_PROTSEQ_MAX_REQS_DEFAULT, ToRpc(name), descriptor.get()));
            // Taken by this process itself, before this module was loaded, is as good.
            const bool is_own = endpoint.local_id != 0 ? LocalIds().contains(endpoint.local_id)
                                                       : TcpPorts().contains(endpoint.tcp_port);
            if (vek::Failed(code) && !is_own) return code;
            opened_.emplace(text, Opened{accounts, false});
        }
    }
    AwaitServing(endpoint);
    const std::lock_guard guard(lock_);
    opened_[text].serves = true;
    return result::kOk;
}

bool RpcServer::IsOpenFor(const Endpoint& endpoint, const std::set<std::string>& accounts) {
    const std::lock_guard guard(lock_);
    const auto found = opened_.find(TextOf(endpoint));
    return found == opened_.end() || std::ranges::includes(found->second.accounts, accounts);
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
        opened_.emplace(TextOf(opened), Opened{{}, true});
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
    const std::set<std::string> accounts = Accounts();
    if (own != Endpoint() && IsOpenFor(own, accounts)) return result::kOk;
    // Without the lock, which no thread may keep for long. Of two that open one at once the first
    // one's is used.
    vek::result_t code = kEndpointTaken;
    for (const std::uint32_t earlier : LocalIds()) {
        own = {earlier, 0};
        if (!IsOpenFor(own, accounts)) continue;
        code = Open(own);
        break;
    }
    for (int i = 0; vek::Failed(code) && i < kLocalIdAttempts; ++i) {
        own = {NewLocalId(), 0};
        code = Open(own);
        if (code != kEndpointTaken) break;
    }
    if (vek::Failed(code)) return code;
    const std::lock_guard guard(own_lock_);
    if (own_ == Endpoint() || !IsOpenFor(own_, accounts)) own_ = own;
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
