// How connections over sockets come about.

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <functional>
#include <thread>

#include "remote/establish.h"
#include "remote/socket/address_posix.h"
#include "remote/socket/connection_posix.h"
#include "vek/core/border.h"
#include "vek/platform/system.h"

namespace remote {
namespace {

using vek::platform::Descriptor;
namespace result = vek::result;

// How long a process is waited for that has not taken this one in yet.
struct Patience {
    std::chrono::steady_clock::time_point deadline;
    const std::function<bool()>& gives_up;

    // How long to wait before it is to be asked again; 0 when it is over.
    std::chrono::milliseconds Next() const {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || (gives_up && gives_up())) return std::chrono::milliseconds{0};
        return std::min(left, std::chrono::milliseconds{50});
    }
};

struct Welcome {
    FrameHead head;
    Verdict verdict;
};
static_assert(sizeof(Welcome) == sizeof(FrameHead) + sizeof(Verdict));

// As recv, over interruptions.
bool ReceiveWith(const Patience& patience, int socket, std::span<std::byte> bytes) {
    while (!bytes.empty()) {
        const auto wait = patience.Next();
        if (wait.count() == 0) return false;
        LimitReceiving(socket, wait);
        const ssize_t received = ::recv(socket, bytes.data(), bytes.size(), 0);
        if (received < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (received <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(received));
    }
    LimitReceiving(socket, std::chrono::milliseconds{0});
    return true;
}

// Waits to be taken in.
vek::result_t AwaitWelcome(int socket, const Patience& patience) {
    Welcome welcome{};
    if (!ReceiveWith(patience, socket, std::as_writable_bytes(std::span(&welcome, 1)))) {
        return result::kNotReady;
    }
    if (welcome.head.size != sizeof(Verdict) || welcome.head.kind != FrameKind::kWelcome ||
        welcome.head.zero != 0 || welcome.verdict.signature != kVerdictSignature) {
        return result::kInvalidSignature;
    }
    return vek::Failed(welcome.verdict.result) ? result::kAccessDenied : result::kOk;
}

// Before a process that lacks descriptors or threads tries again.
constexpr std::chrono::milliseconds kPause{50};

// A port that the system chooses is one of these (the range that RFC 6335 leaves to such use).
constexpr std::uint16_t kFirstPort = 49152;

// Takes in whoever has connected, who is told by a welcome. Gives the connection, or null.
std::shared_ptr<SocketConnection> TakeIn(Descriptor control, const AcceptPeer& accept,
                                         const TransportConfig& config, PeerShares& shares) {
    const int socket = control.get();
    const PeerIdentity peer = PeerOf(socket);
    const auto refuse = [&](std::string_view why) {
        SendVerdict(socket, FrameKind::kWelcome, RefusePeer(peer.process_id, why, config));
        return nullptr;
    };
    if (!IsPeerAllowed(peer, config.peer_check)) return refuse("it may not connect");
    peer_share_t share = shares.Take(peer.process_id);
    if (!share) return refuse("it has too many connections");
    auto connection = std::make_shared<SocketConnection>(std::move(control), peer, config);
    connection->Keep(std::move(share));
    const auto transport = std::make_shared<PeerTransport>(connection);
    const vek::result_t admitted = AdmitPeer(transport, accept, config, [socket] {
        SendVerdict(socket, FrameKind::kWelcome, result::kOk);
    });
    if (vek::Succeeded(admitted)) return connection;
    // One that has been closed meanwhile sees that its socket is.
    if (admitted != result::kNotReady) SendVerdict(socket, FrameKind::kWelcome, admitted);
    connection->Lose("it is not accepted");
    return nullptr;
}

class SocketListener final : public Listener {
public:
    SocketListener(const Endpoint& endpoint, Descriptor socket, std::shared_ptr<AcceptGate> gate)
        : endpoint_(endpoint), socket_(std::move(socket)), gate_(std::move(gate)) {}

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
        const vek::result_t started = vek::AtBorder([&] {
            auto shared = std::make_shared<Descriptor>(std::move(peer));
            const auto thread = vek::platform::TheSystem().StartThread(
                [gate = gate_, shared]() mutable { Serve(std::move(gate), std::move(*shared)); });
            return thread ? result::kOk : result::kInsufficientResources;
        });
        return vek::Succeeded(started);
    }

    static void Serve(std::shared_ptr<AcceptGate> gate, Descriptor peer) noexcept {
        std::shared_ptr<SocketConnection> connection;
        // After a failure the peer sees its socket closed.
        static_cast<void>(vek::AtBorder([&] {
            gate->Enter([&](const AcceptPeer& accept, const TransportConfig& config) {
                connection = TakeIn(std::move(peer), accept, config, gate->shares());
            });
        }));
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

vek::result_t ConnectToPeer(const Endpoint& endpoint, const TransportConfig& config,
                            std::shared_ptr<PeerTransport>& transport) {
    const auto timeout = std::max(config.connect_timeout, std::chrono::milliseconds{1});
    const Patience patience{std::chrono::steady_clock::now() + timeout, config.gives_up};
    Descriptor control;
    if (const auto code = ConnectTo(endpoint, timeout, control); vek::Failed(code)) {
        return code;
    }
    const PeerIdentity peer = PeerOf(control.get());
    if (!IsPeerAllowed(peer, config.peer_check)) return result::kAccessDenied;
    if (const auto code = AwaitWelcome(control.get(), patience); vek::Failed(code)) return code;

    const auto connection = std::make_shared<SocketConnection>(std::move(control), peer, config);
    transport = std::make_shared<PeerTransport>(connection);
    return vek::platform::TheSystem().StartThread([connection] { connection->WatchControl(); })
               ? result::kOk
               : result::kInsufficientResources;
}

vek::result_t ListenForPeers(const Endpoint& endpoint, std::shared_ptr<AcceptGate> gate,
                             std::unique_ptr<Listener>& listener) {
    Endpoint claimed = endpoint;
    Descriptor socket;
    if (const auto code = Claim(claimed, socket); vek::Failed(code)) return code;
    auto made = std::make_unique<SocketListener>(claimed, std::move(socket), std::move(gate));
    if (!made->Start()) return result::kInsufficientResources;
    listener = std::move(made);
    return result::kOk;
}

}  // namespace remote
