// The operations of the interface, as peers call them, and the listener that one of them asks.
// Called on threads of the RPC runtime's.

#include <atomic>
#include <chrono>

#include "remote/establish.h"
#include "remote/process_event.h"
#include "remote/rpc/connection_win32.h"
#include "remote/rpc/raw_call_win32.h"
#include "remote/rpc/server_win32.h"
#include "vek/core/border.h"

namespace remote {
namespace {

namespace result = vek::result;

class RpcListener final : public Listener {
public:
    RpcListener(const Endpoint& endpoint, std::shared_ptr<AcceptGate> gate)
        : gate_(std::move(gate)), use_(gate_->config()), endpoint_(endpoint) {}

    ~RpcListener() override {
        if (listens_ && RpcServer::Get().RemoveListener(endpoint_) && reachable_) {
            reachable_->Reset();
        }
        gate_->Close();
    }

    vek::result_t Start() {
        if (const auto code = RpcServer::Get().Open(endpoint_); vek::Failed(code)) return code;
        listens_ = RpcServer::Get().AddListener(endpoint_, gate_);
        if (!listens_) return kEndpointTaken;
        // Without its event nobody waits for this process, and it can be reached nevertheless.
        const TransportConfig& config = gate_->config();
        if (vek::Succeeded(OpenProcessEvent(::GetCurrentProcessId(), EventNamespaceOf(config),
                                            config.tracer, reachable_))) {
            reachable_->Set();
        }
        return result::kOk;
    }

    Endpoint endpoint() const noexcept override { return endpoint_; }

private:
    const std::shared_ptr<AcceptGate> gate_;
    const RpcServer::Use use_;
    Endpoint endpoint_;
    std::unique_ptr<vek::platform::Event> reachable_;
    bool listens_ = false;
};

// How many clients are looked at at once of whom it is not known yet whose they are: what is
// received of them is together 1 MiB at most.
constexpr int kMaxArrivals = 16;
std::atomic<int> arrivals{0};

// One of them.
class Arrival {
public:
    Arrival() noexcept : place_(++arrivals) {}
    ~Arrival() { Leave(); }
    Arrival(const Arrival&) = delete;
    Arrival& operator=(const Arrival&) = delete;

    bool fits() const noexcept { return place_ <= kMaxArrivals; }

    // It is known whose it is: from now on it takes of its process's share.
    void Leave() noexcept {
        if (std::exchange(place_, 0) != 0) --arrivals;
    }

private:
    int place_;
};

// How long a client may take to be confirmed to.
constexpr std::chrono::seconds kConfirmTimeout{3};

// Confirms this end to the client at `binding`, which is to be `caller`. Gives false when it is
// another: then somebody in between forwards what is not its own.
bool ConfirmTo(const RpcBinding& binding, std::uint64_t token, const PeerIdentity& caller,
               RpcConnection& connection) {
    wire::ConfirmReply reply{};
    {
        const CallTimeout timeout(kConfirmTimeout);
        const auto ask = [&] {
            return CallPeer(binding.get(), Operation::kConfirm,
                            wire::ConfirmRequest{token, caller.process_id}, reply);
        };
        RPC_STATUS status = ask();
        // The runtime calls first over connections of earlier calls that may have ended since.
        if (status == RPC_S_CALL_FAILED_DNE) status = ask();
        if (status != RPC_S_OK) return false;
    }
    connection.SetLink(TakeLink(binding.get(), reply.link));
    return vek::Succeeded(reply.verdict);
}

// Lets a listener decide. `token` is what the caller is to call under.
vek::result_t TakeIn(const wire::ConnectRequest& request, const PeerIdentity& caller,
                     const AcceptPeer& accept, const TransportConfig& config, PeerShares& shares,
                     Arrival& arrival, std::uint64_t& token) {
    const std::uint32_t id = caller.process_id;
    if (!IsPeerAllowed(caller, config)) return RefusePeer(id, "it may not connect", config);
    // Where there is one account, all are of that.
    peer_share_t share =
        shares.Take(id, config.peer_account == kInteractiveUsers ? caller.account : std::string());
    if (!share) return RefusePeer(id, "it has too many connections", config);
    arrival.Leave();
    const Endpoint endpoint{request.caller_local_id,
                            static_cast<std::uint16_t>(request.caller_tcp_port)};
    RpcBinding binding;
    if (endpoint == Endpoint() || RpcBinding::To(endpoint, binding) != RPC_S_OK ||
        TheIdentitySource().RequireServer(binding.get(), endpoint, caller.account) != RPC_S_OK) {
        return RefusePeer(id, "it cannot be called", config);
    }
    const auto connection = RpcConnection::Create(config);
    connection->Keep(std::move(share));
    const auto transport = std::make_shared<PeerTransport>(connection);
    if (!ConfirmTo(binding, request.caller_token, caller, *connection)) {
        return RefusePeer(id, "it does not answer for itself", config);
    }
    connection->SetPeer(std::move(binding), request.caller_token);
    connection->SetIdentity(caller);
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
vek::result_t TakeIn(const wire::ConnectRequest& request, const PeerIdentity& caller,
                     Arrival& arrival, std::uint64_t& token) {
    const Endpoint wanted{request.local_id, static_cast<std::uint16_t>(request.tcp_port)};
    vek::result_t code = result::kNotReady;
    if (const auto gate = RpcServer::Get().ListenerAt(TextOf(wanted))) {
        gate->Enter([&](const AcceptPeer& accept, const TransportConfig& config) {
            code = TakeIn(request, caller, accept, config, gate->shares(), arrival, token);
        });
    }
    return code;
}

// The connection of a token, when the call comes from the process that was given it.
std::shared_ptr<RpcConnection> CalledConnection(const ServedCall& call, std::uint64_t token) {
    auto connection = RpcServer::Get().ConnectionOf(token);
    if (!connection) return nullptr;
    const std::uint32_t caller = TheIdentitySource().CallingProcess(call.handle());
    return caller != 0 && caller == connection->peer_process_id() ? connection : nullptr;
}

// The runtime has lost a client that had connected.
void __RPC_USER OnClientGone(void* link) {
    const auto token = reinterpret_cast<std::uint64_t>(link);
    if (const auto connection = RpcServer::Get().ConnectionOf(token)) {
        connection->Lose("the peer has gone");
    }
    RpcServer::Get().RemoveLink();
}

// Gives the client a hold on the connection of `token`, none when that is 0.
wire::link_bytes_t GiveLink(const ServedCall& call, std::uint64_t token) noexcept {
    alignas(8) wire::link_bytes_t link{};
    if (token != 0) RpcServer::Get().AddLink();
    const RPC_STATUS given = Guarded([&] {
        NDR_SCONTEXT const context = ::NDRSContextUnmarshall2(
            call.handle(), nullptr, NDR_LOCAL_DATA_REPRESENTATION, RPC_CONTEXT_HANDLE_DEFAULT_GUARD,
            RPC_CONTEXT_HANDLE_DEFAULT_FLAGS);
        *NDRSContextValue(context) = reinterpret_cast<void*>(token);
        ::NDRSContextMarshall2(call.handle(), context, link.data(), OnClientGone,
                               RPC_CONTEXT_HANDLE_DEFAULT_GUARD, RPC_CONTEXT_HANDLE_DEFAULT_FLAGS);
    });
    if (token != 0 && given != RPC_S_OK) RpcServer::Get().RemoveLink();
    return link;
}

// Each operation gives what ends the call where there is no reply: RPC_S_OK, RPC_X_BAD_STUB_DATA
// for what is no request of it, or another status.
template <class Content>
RPC_STATUS Answer(ServedCall& call, const Content& reply) noexcept {
    std::byte* const room = call.Reply(wire::kSize<Content>);
    if (room == nullptr) return RPC_S_OUT_OF_MEMORY;
    wire::Write(room, reply);
    return RPC_S_OK;
}

RPC_STATUS Connect(ServedCall& call) noexcept {
    const auto request = wire::Read<wire::ConnectRequest>(call.request());
    if (!request) return RPC_X_BAD_STUB_DATA;
    Arrival arrival;
    if (!arrival.fits()) return RPC_S_SERVER_TOO_BUSY;
    wire::ConnectReply reply{};
    reply.verdict = vek::AtBorder([&] {
        const auto caller = TheIdentitySource().Caller(call.handle());
        if (!caller) return result::kAccessDenied;
        return TakeIn(*request, *caller, arrival, reply.token);
    });
    reply.link = GiveLink(call, reply.token);
    return Answer(call, reply);
}

RPC_STATUS Confirm(ServedCall& call) noexcept {
    const auto request = wire::Read<wire::ConfirmRequest>(call.request());
    if (!request) return RPC_X_BAD_STUB_DATA;
    wire::ConfirmReply reply{};
    reply.verdict = vek::AtBorder([&] {
        const auto connection = RpcServer::Get().ConnectionOf(request->token);
        if (!connection) return kUnknownToken;
        if (request->process != ::GetCurrentProcessId()) return result::kAccessDenied;
        const auto caller = TheIdentitySource().Caller(call.handle());
        return caller && connection->Confirm(*caller) ? result::kOk : result::kAccessDenied;
    });
    reply.link = GiveLink(call, vek::Succeeded(reply.verdict) ? request->token : 0);
    return Answer(call, reply);
}

RPC_STATUS Send(ServedCall& call) noexcept {
    const auto request = wire::ReadWithPart<wire::SendRequest>(call.request());
    if (!request) return RPC_X_BAD_STUB_DATA;
    const auto& [head, part] = *request;
    const auto connection = CalledConnection(call, head.token);
    const auto verdict = connection ? vek::AtBorder([&, number = head.number, bytes = part] {
        return connection->TakePart(number, bytes);
    })
                                    : kUnknownToken;
    return Answer(call, wire::VerdictReply{verdict});
}

RPC_STATUS SendReceive(ServedCall& call) noexcept {
    const auto request = wire::ReadWithPart<wire::SendReceiveRequest>(call.request());
    if (!request) return RPC_X_BAD_STUB_DATA;
    const auto& [head, part] = *request;
    const auto connection = CalledConnection(call, head.token);
    const auto verdict =
        connection ? connection->Serve(head.depth, head.number, part, call) : kUnknownToken;
    if (vek::Succeeded(verdict)) return RPC_S_OK;  // with its reply
    struct {
        std::uint32_t size, pointer;
        vek::result_t verdict;
    } const refusal{0, 0, verdict};
    return Answer(call, refusal);
}

RPC_STATUS Disconnect(ServedCall& call) noexcept {
    const auto request = wire::Read<wire::DisconnectRequest>(call.request());
    if (!request) return RPC_X_BAD_STUB_DATA;
    if (const auto connection = CalledConnection(call, request->token)) {
        connection->Lose("the peer has closed it");
    }
    return Answer(call, wire::VerdictReply{result::kOk});
}

// A failure is raised here, where nothing is left to be destroyed.
template <RPC_STATUS (*operation)(ServedCall&) noexcept>
void __RPC_STUB Dispatch(RPC_MESSAGE* message) {
    const RPC_STATUS status = [message]() noexcept {
        const RpcServer::Busy busy;
        ServedCall call(*message);
        // The runtime has been told, but not each of them obeys.
        const bool fits = call.IsReadable() && call.request().size() <= kMaxCallSize;
        return fits ? operation(call) : RPC_X_BAD_STUB_DATA;
    }();
    if (status != RPC_S_OK) ::RpcRaiseException(status);
}

RPC_DISPATCH_FUNCTION operations[]{Dispatch<Connect>,     Dispatch<Confirm>,    Dispatch<Send>,
                                   Dispatch<SendReceive>, Dispatch<Disconnect>, nullptr};
static_assert(std::size(operations) == kOperationCount + 1);
RPC_DISPATCH_TABLE dispatch_table{kOperationCount, operations, 0};

RPC_SERVER_INTERFACE server_interface{sizeof server_interface,
                                      kInterface,
                                      kTransferSyntax,
                                      &dispatch_table,
                                      0,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      0};

}  // namespace

RPC_IF_HANDLE ServedInterface() noexcept { return &server_interface; }

vek::result_t ListenForPeers(const Endpoint& endpoint, std::shared_ptr<AcceptGate> gate,
                             std::unique_ptr<Listener>& listener) {
    auto made = std::make_unique<RpcListener>(endpoint, std::move(gate));
    const vek::result_t code = made->Start();
    if (vek::Succeeded(code)) listener = std::move(made);
    return code;
}

}  // namespace remote
