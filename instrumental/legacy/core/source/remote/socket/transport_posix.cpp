#include "remote/socket/transport_posix.h"

#include <sys/socket.h>

#include <cerrno>
#include <chrono>

#include "remote/socket/address_posix.h"
#include "remote/socket/wire_posix.h"
#include "vek/core/current_exception.h"
#include "vek/platform/system.h"
#include "vek/trace/line.h"

namespace remote {
namespace {

using vek::platform::Descriptor;
namespace result = vek::result;
namespace trace = vek::trace;

constexpr std::chrono::seconds kConnectTimeout{3};
using deadline_t = std::chrono::steady_clock::time_point;

struct Welcome {
    FrameHead head;
    Verdict verdict;
};
static_assert(sizeof(Welcome) == sizeof(FrameHead) + sizeof(Verdict));

// As recv with `deadline`, over interruptions.
bool ReceiveBy(deadline_t deadline, int socket, std::span<std::byte> bytes) noexcept {
    while (!bytes.empty()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        LimitReceiving(socket, left);
        const ssize_t received = ::recv(socket, bytes.data(), bytes.size(), 0);
        if (received < 0 && errno == EINTR) continue;
        if (received <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(received));
    }
    LimitReceiving(socket, std::chrono::milliseconds{0});
    return true;
}

// Waits to be taken in.
vek::result_t AwaitWelcome(int socket, deadline_t deadline) noexcept {
    Welcome welcome{};
    if (!ReceiveBy(deadline, socket, std::as_writable_bytes(std::span(&welcome, 1)))) {
        return result::kNotReady;
    }
    if (welcome.head.size != sizeof(Verdict) || welcome.head.kind != FrameKind::kWelcome ||
        welcome.head.zero != 0 || welcome.verdict.signature != kVerdictSignature) {
        return result::kInvalidSignature;
    }
    return vek::Failed(welcome.verdict.result) ? result::kAccessDenied : result::kOk;
}

vek::result_t Connect(const Endpoint& endpoint, std::weak_ptr<RequestHandler> handler,
                      const TransportConfig& config, std::shared_ptr<Transport>& transport) {
    const deadline_t deadline = std::chrono::steady_clock::now() + kConnectTimeout;
    Descriptor control;
    if (const auto code = ConnectTo(endpoint, kConnectTimeout, control); vek::Failed(code))
        return code;
    if (!IsPeerAllowed(control.get(), config.peer_check)) return result::kAccessDenied;
    if (const auto code = AwaitWelcome(control.get(), deadline); vek::Failed(code)) return code;

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
