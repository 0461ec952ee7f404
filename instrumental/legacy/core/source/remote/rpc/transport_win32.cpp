#include "remote/rpc/transport_win32.h"

#include <chrono>
#include <string>

#include "rpc_transport.h"
#include "vek/core/current_exception.h"
#include "vek/trace/line.h"

namespace remote {
namespace {

namespace result = vek::result;
namespace trace = vek::trace;

constexpr std::chrono::seconds kConnectTimeout{3};

struct Answer {
    LONG verdict = 0;
    unsigned long process = 0;
    MIDL_uhyper token = 0;
    link_t link = nullptr;
};

vek::result_t Introduce(const RpcBinding& binding, const Endpoint& endpoint, const Endpoint& own,
                        std::uint64_t own_token, const trace::TracerPtr& tracer, Answer& answer) {
    const std::string wanted = TextOf(endpoint);
    const std::string here = TextOf(own);
    const auto* const wanted_text = reinterpret_cast<const unsigned char*>(wanted.c_str());
    const auto* const here_text = reinterpret_cast<const unsigned char*>(here.c_str());
    const CallTimeout timeout(kConnectTimeout);
    const RPC_STATUS status = Guarded([&] {
        answer.verdict =
            ::CallConnect(binding.get(), wanted_text, ::GetCurrentProcessId(), here_text, own_token,
                          &answer.process, &answer.token, &answer.link);
    });
    if (status == RPC_S_OK) return static_cast<vek::result_t>(answer.verdict);
    trace::Write(tracer, trace::level::kRemoting, "rmt\tCannot reach ", wanted,
                 ", status = ", static_cast<std::uint32_t>(status));
    const auto code = ResultOf(status);
    return code == result::kRemoteCallFailed ? result::kNotReady : code;
}

// Ends a connection that has not come about, so that nothing waits for it to be open.
class Attempt {
public:
    explicit Attempt(RpcConnection& connection) noexcept : connection_(connection) {}
    ~Attempt() {
        if (!succeeded_) connection_.Lose("it cannot be made");
    }
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;

    void set_succeeded() noexcept { succeeded_ = true; }

private:
    RpcConnection& connection_;
    bool succeeded_ = false;
};

vek::result_t Connect(const Endpoint& endpoint, std::weak_ptr<RequestHandler> handler,
                      const TransportConfig& config, std::shared_ptr<Transport>& transport) {
    const auto connection = RpcConnection::Create(config);
    Attempt attempt(*connection);
    Endpoint own;
    if (const auto code = RpcServer::Get().OpenOwn(endpoint, own); vek::Failed(code)) return code;
    RpcBinding binding;
    if (const auto status = RpcBinding::To(endpoint, binding); status != RPC_S_OK) {
        return ResultOf(status);
    }
    Answer answer;
    const auto code = Introduce(binding, endpoint, own, connection->token(), config.tracer, answer);
    connection->SetLink(answer.link);
    if (vek::Failed(code)) return code;

    const auto peer = static_cast<std::uint32_t>(answer.process);
    connection->SetPeer(std::move(binding), answer.token, peer);
    auto made = std::make_shared<RpcTransport>(connection);
    if (!IsProcessAllowed(peer, config.peer_check)) return result::kAccessDenied;
    connection->Open(std::move(handler));
    attempt.set_succeeded();
    trace::Write(config.tracer, trace::level::kRemoting, "rmt\tConnected to process ", peer);
    transport = std::move(made);
    return result::kOk;
}

}  // namespace

RpcTransport::~RpcTransport() { Close(result::kRemoteCallFailed); }

vek::result_t RpcTransport::SendReceive(RpcProtocolProcessorOut& request,
                                        RpcProtocolProcessorIn& reply) noexcept {
    try {
        return connection_->Call(request, reply);
    } catch (...) {
        return vek::CurrentExceptionResult();
    }
}

vek::result_t ConnectTransport(const Endpoint& endpoint, std::weak_ptr<RequestHandler> handler,
                               const TransportConfig& config,
                               std::shared_ptr<Transport>& transport) noexcept {
    vek::result_t code;
    try {
        code = Connect(endpoint, std::move(handler), config, transport);
    } catch (...) {
        code = vek::CurrentExceptionResult();
    }
    if (vek::Failed(code)) {
        trace::Write(config.tracer, trace::level::kRemoting,
                     "rmt\tCannot connect, result = ", trace::Hex(code));
    }
    return code;
}

}  // namespace remote
