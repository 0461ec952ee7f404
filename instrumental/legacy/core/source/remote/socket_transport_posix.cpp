#include "remote/socket_transport_posix.h"

#include <chrono>

#include "remote/socket_address_posix.h"
#include "vek/core/current_exception.h"
#include "vek/platform/system.h"
#include "vek/trace/line.h"

namespace remote {
namespace {

using vek::platform::Descriptor;
namespace result = vek::result;
namespace trace = vek::trace;

constexpr std::chrono::seconds kConnectTimeout{3};

// Waits to be taken in.
vek::result_t AwaitWelcome(int socket) noexcept {
    LimitReceiving(socket, kConnectTimeout);
    Frame frame;
    vek::result_t verdict = result::kOk;
    if (ReceiveFrame(socket, kVerdictSize, frame) != Receiving::kFrame) return result::kNotReady;
    if (frame.kind != FrameKind::kWelcome || !ReadVerdict(frame, verdict)) {
        return result::kInvalidSignature;
    }
    LimitReceiving(socket, std::chrono::milliseconds{0});
    return vek::Failed(verdict) ? result::kAccessDenied : result::kOk;
}

vek::result_t Connect(const Endpoint& endpoint, std::weak_ptr<RequestHandler> handler,
                      const TransportConfig& config, std::shared_ptr<Transport>& transport) {
    Descriptor control;
    if (const auto code = ConnectTo(endpoint, kConnectTimeout, control); vek::Failed(code))
        return code;
    if (!IsPeerAllowed(control.get(), config.peer_check)) return result::kAccessDenied;
    if (const auto code = AwaitWelcome(control.get()); vek::Failed(code)) return code;

    const std::uint32_t peer = PeerProcess(control.get());
    auto connection = std::make_shared<SocketConnection>(std::move(control), peer, config);
    auto made = std::make_shared<SocketTransport>(connection);
    if (!vek::platform::TheSystem().StartThread([connection] { connection->WatchControl(); })) {
        return result::kInsufficientResources;
    }
    connection->Open(std::move(handler));
    trace::Write(config.tracer, trace::level::kRemoting, "rmt\tConnected to process ", peer);
    transport = std::move(made);
    return result::kOk;
}

}  // namespace

SocketTransport::~SocketTransport() { Close(result::kRemoteCallFailed); }

vek::result_t SocketTransport::SendReceive(RpcProtocolProcessorOut& request,
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
