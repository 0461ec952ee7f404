#include <chrono>
#include <string>

#include "remote/establish.h"
#include "remote/rpc/connection_win32.h"
#include "rpc_transport.h"
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

}  // namespace

vek::result_t ConnectToPeer(const Endpoint& endpoint, const TransportConfig& config,
                            std::shared_ptr<PeerTransport>& transport) {
    const auto connection = RpcConnection::Create(config);
    // Lets the connection go when it does not come about, so that nothing waits for it to be open.
    transport = std::make_shared<PeerTransport>(connection);
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
    return IsProcessAllowed(peer, config.peer_check) ? result::kOk : result::kAccessDenied;
}

}  // namespace remote
