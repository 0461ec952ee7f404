#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "remote/accept_gate.h"
#include "remote/socket/address_posix.h"
#include "remote/socket/transport_posix.h"
#include "vek/core/current_exception.h"
#include "vek/platform/system.h"
#include "vek/trace/line.h"

namespace remote {
namespace {

using vek::platform::Descriptor;
namespace result = vek::result;
namespace trace = vek::trace;

// Before a process that lacks descriptors or threads tries again.
constexpr std::chrono::milliseconds kPause{50};

// A port that the system chooses is one of these (the range that RFC 6335 leaves to such use).
constexpr std::uint16_t kFirstPort = 49152;

// Asks whoever has connected in, who is told by a welcome. Gives the connection, or null.
std::shared_ptr<SocketConnection> TakeIn(Descriptor control, const AcceptPeer& accept,
                                         const TransportConfig& config) {
    const int socket = control.get();
    const std::uint32_t peer = PeerProcess(socket);
    if (!IsPeerAllowed(socket, config.peer_check)) {
        trace::Write(config.tracer, trace::level::kRemoting, "rmt\tProcess ", peer,
                     " is refused: it may not connect");
        SendVerdict(socket, FrameKind::kWelcome, result::kAccessDenied);
        return nullptr;
    }
    auto connection = std::make_shared<SocketConnection>(std::move(control), peer, config);
    const auto transport = std::make_shared<SocketTransport>(connection);
    const auto handler = accept(transport);
    if (!handler) {
        trace::Write(config.tracer, trace::level::kRemoting, "rmt\tProcess ", peer,
                     " is refused: it is not accepted");
        SendVerdict(socket, FrameKind::kWelcome, result::kAccessDenied);
        connection->Close(result::kAccessDenied);
        return nullptr;
    }
    if (!connection->Open(handler)) return nullptr;
    trace::Write(config.tracer, trace::level::kRemoting, "rmt\tProcess ", peer, " has connected");
    SendVerdict(socket, FrameKind::kWelcome, result::kOk);
    return connection;
}

class SocketListener final : public Listener {
public:
    SocketListener(const Endpoint& endpoint, Descriptor socket, AcceptPeer accept,
                   const TransportConfig& config)
        : endpoint_(endpoint),
          socket_(std::move(socket)),
          gate_(std::make_shared<AcceptGate>(std::move(accept), config)) {}

    ~SocketListener() override {
        ::shutdown(socket_.get(), SHUT_RDWR);  // ends the wait in accept
        if (thread_) thread_->Wait(vek::platform::kInfinite);
        gate_->Close();
    }

    bool Start() {
        thread_ = vek::platform::TheSystem().StartThread([this] { Accept(); });
        return thread_ != nullptr;
    }

    Endpoint endpoint() const noexcept override { return endpoint_; }

private:
    void Accept() noexcept {
        for (;;) {
            Descriptor peer(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (!peer && errno == EINVAL) return;  // shut down
            if (!peer || !StartService(std::move(peer))) std::this_thread::sleep_for(kPause);
        }
    }

    // On a thread of its own: a peer's taking in is no concern of the others.
    bool StartService(Descriptor peer) noexcept {
        try {
            auto shared = std::make_shared<Descriptor>(std::move(peer));
            return vek::platform::TheSystem().StartThread([gate = gate_, shared]() mutable {
                Serve(std::move(gate), std::move(*shared));
            }) != nullptr;
        } catch (...) {
            return false;
        }
    }

    static void Serve(std::shared_ptr<AcceptGate> gate, Descriptor peer) noexcept {
        std::shared_ptr<SocketConnection> connection;
        try {
            gate->Enter([&](const AcceptPeer& accept, const TransportConfig& config) {
                connection = TakeIn(std::move(peer), accept, config);
            });
        } catch (...) {  // NOLINT(bugprone-empty-catch): the peer sees its socket closed
        }
        gate.reset();
        if (connection) connection->WatchControl();
    }

    const Endpoint endpoint_;
    const Descriptor socket_;
    const std::shared_ptr<AcceptGate> gate_;
    std::unique_ptr<vek::platform::Thread> thread_;
};

vek::result_t Claim(Endpoint& endpoint, Descriptor& socket) {
    if (endpoint.local_id != 0 || endpoint.tcp_port != 0) return ListenAt(endpoint, socket);
    vek::result_t code = result::kInsufficientResources;
    for (std::uint32_t port = kFirstPort; port <= UINT16_MAX; ++port) {
        endpoint.tcp_port = static_cast<std::uint16_t>(port);
        code = ListenAt(endpoint, socket);
        if (code != kEndpointTaken) break;
    }
    return code;
}

}  // namespace

vek::result_t Listen(const Endpoint& endpoint, AcceptPeer accept, const TransportConfig& config,
                     std::unique_ptr<Listener>& listener) noexcept {
    try {
        Endpoint claimed = endpoint;
        Descriptor socket;
        if (const auto code = Claim(claimed, socket); vek::Failed(code)) {
            trace::Write(config.tracer, trace::level::kRemoting, "rmt\tCannot listen at ",
                         EndpointName(claimed), ", result = ", trace::Hex(code));
            return code;
        }
        auto made =
            std::make_unique<SocketListener>(claimed, std::move(socket), std::move(accept), config);
        if (!made->Start()) return result::kInsufficientResources;
        listener = std::move(made);
        return result::kOk;
    } catch (...) {
        return vek::CurrentExceptionResult();
    }
}

}  // namespace remote
