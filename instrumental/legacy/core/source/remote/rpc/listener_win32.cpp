#include "remote/accept_gate.h"
#include "remote/rpc/accept_win32.h"
#include "remote/rpc/server_win32.h"
#include "remote/rpc/transport_win32.h"
#include "vek/core/current_exception.h"
#include "vek/trace/line.h"

namespace remote {
namespace {

namespace result = vek::result;
namespace trace = vek::trace;

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

vek::result_t Ask(const Caller& caller, const AcceptPeer& accept, const TransportConfig& config,
                  std::uint64_t& token) {
    const auto refuse = [&](std::string_view why) {
        trace::Write(config.tracer, trace::level::kRemoting, "rmt\tProcess ", caller.process_id,
                     " is refused: ", why);
        return result::kAccessDenied;
    };
    if (!IsProcessAllowed(caller.process_id, config.peer_check))
        return refuse("it may not connect");
    Endpoint endpoint;
    RpcBinding binding;
    if (!ReadEndpoint(caller.endpoint, endpoint) || RpcBinding::To(endpoint, binding) != RPC_S_OK) {
        return refuse("it cannot be called");
    }
    const auto connection = RpcConnection::Create(config);
    connection->SetPeer(std::move(binding), caller.token, caller.process_id);
    const auto transport = std::make_shared<RpcTransport>(connection);
    const auto handler = accept(transport);
    if (!handler) {
        connection->Lose("it is not accepted");
        return refuse("it is not accepted");
    }
    if (!connection->Open(handler)) return result::kNotReady;
    trace::Write(config.tracer, trace::level::kRemoting, "rmt\tProcess ", caller.process_id,
                 " has connected");
    token = connection->token();
    return result::kOk;
}

}  // namespace

vek::result_t TakeIn(const Caller& caller, std::uint64_t& token) {
    vek::result_t code = result::kNotReady;
    if (const auto gate = RpcServer::Get().ListenerAt(caller.listener)) {
        gate->Enter([&](const AcceptPeer& accept, const TransportConfig& config) {
            code = Ask(caller, accept, config, token);
        });
    }
    return code;
}

vek::result_t Listen(const Endpoint& endpoint, AcceptPeer accept, const TransportConfig& config,
                     std::unique_ptr<Listener>& listener) noexcept {
    vek::result_t code;
    try {
        auto made = std::make_unique<RpcListener>(
            endpoint, std::make_shared<AcceptGate>(std::move(accept), config));
        code = made->Start();
        if (vek::Succeeded(code)) listener = std::move(made);
    } catch (...) {
        code = vek::CurrentExceptionResult();
    }
    if (vek::Failed(code)) {
        trace::Write(config.tracer, trace::level::kRemoting,
                     "rmt\tCannot listen, result = ", trace::Hex(code));
    }
    return code;
}

}  // namespace remote
