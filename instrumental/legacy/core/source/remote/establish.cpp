#include "remote/establish.h"

#include "vek/core/border.h"
#include "vek/trace/line.h"

namespace remote {
namespace {

namespace result = vek::result;
namespace trace = vek::trace;

}  // namespace

peer_share_t PeerShares::Take(std::uint32_t process_id, const std::string& account) {
    auto give_back = [self = shared_from_this(), process_id, account](void*) {
        self->GiveBack(process_id, account);
    };
    {
        const std::lock_guard guard(lock_);
        std::size_t& of_account = of_account_[account];
        std::size_t& of_process = of_process_[process_id];
        if (of_process >= kMaxConnectionsOfProcess) return nullptr;
        if (!account.empty() && of_account >= kMaxConnectionsOfAccount) {
            if (of_process == 0) of_process_.erase(process_id);
            return nullptr;
        }
        ++of_process;
        ++of_account;
    }
    return {this, std::move(give_back)};
}

void PeerShares::GiveBack(std::uint32_t process_id, const std::string& account) noexcept {
    const std::lock_guard guard(lock_);
    const auto remove = [](auto& counts, const auto& key) {
        if (const auto found = counts.find(key); --found->second == 0) counts.erase(found);
    };
    remove(of_process_, process_id);
    remove(of_account_, account);
}

vek::result_t ConnectTransport(const Endpoint& endpoint, std::weak_ptr<RequestHandler> handler,
                               const TransportConfig& config,
                               std::shared_ptr<Transport>& transport) noexcept {
    const vek::result_t code = vek::AtBorder([&] {
        std::shared_ptr<PeerTransport> made;
        const vek::result_t connected = ConnectToPeer(endpoint, config, made);
        if (vek::Failed(connected)) return connected;
        made->Open(std::move(handler));
        trace::Write(config.tracer, trace::level::kRemoting, "rmt\tConnected to process ",
                     made->peer().process_id);
        transport = std::move(made);
        return result::kOk;
    });
    if (vek::Failed(code)) {
        trace::Write(config.tracer, trace::level::kRemoting, "rmt\tCannot connect, ",
                     trace::Result(code));
    }
    return code;
}

vek::result_t Listen(const Endpoint& endpoint, AcceptPeer accept, const TransportConfig& config,
                     std::unique_ptr<Listener>& listener) noexcept {
    const vek::result_t code = vek::AtBorder([&] {
        auto gate = std::make_shared<AcceptGate>(std::move(accept), config);
        return ListenForPeers(endpoint, std::move(gate), listener);
    });
    if (vek::Failed(code)) {
        trace::Write(config.tracer, trace::level::kRemoting, "rmt\tCannot listen at ",
                     endpoint.local_id != 0 ? endpoint.local_id : endpoint.tcp_port, ", ",
                     trace::Result(code));
    }
    return code;
}

vek::result_t AdmitPeer(const std::shared_ptr<PeerTransport>& transport, const AcceptPeer& accept,
                        const TransportConfig& config, vek::FunctionRef<void()> welcome) {
    const std::uint32_t process_id = transport->peer().process_id;
    const std::shared_ptr<RequestHandler> handler = accept(transport);
    if (!handler) return RefusePeer(process_id, "it is not accepted", config);
    welcome();
    if (!transport->Open(handler)) return result::kNotReady;
    trace::Write(config.tracer, trace::level::kRemoting, "rmt\tProcess ", process_id,
                 " has connected");
    return result::kOk;
}

vek::result_t RefusePeer(std::uint32_t process_id, std::string_view why,
                         const TransportConfig& config) noexcept {
    trace::Write(config.tracer, trace::level::kRemoting, "rmt\tProcess ", process_id,
                 " is refused: ", why);
    return result::kAccessDenied;
}

}  // namespace remote
