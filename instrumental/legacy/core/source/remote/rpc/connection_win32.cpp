#include "remote/rpc/connection_win32.h"

#include <chrono>
#include <thread>

#include "rpc_transport.h"
#include "vek/platform/system.h"
#include "vek/trace/line.h"

namespace remote {
namespace {

namespace result = vek::result;
namespace trace = vek::trace;

// How long a peer is waited for that is to hear of the end.
constexpr std::chrono::seconds kFarewell{3};

// Between two attempts to cancel calls.
constexpr std::chrono::milliseconds kCancelPause{10};

void CALLBACK OnProcessEnded(void* token, BOOLEAN) {
    const auto connection = RpcServer::Get().ConnectionOf(reinterpret_cast<std::uint64_t>(token));
    if (connection) connection->Lose("the peer has gone");
}

}  // namespace

std::shared_ptr<RpcConnection> RpcConnection::Create(const TransportConfig& config) {
    auto connection = std::make_shared<RpcConnection>(config);
    connection->token_ = RpcServer::Get().AddConnection(connection);
    return connection;
}

RpcConnection::RpcConnection(const TransportConfig& config)
    : tracer_(config.tracer), adopt_handles_(config.adopt_handles) {}

RpcConnection::~RpcConnection() {
    RpcServer::Get().RemoveConnection(token_);
    if (link_ != nullptr) {
        Guarded([this] { ::RpcSsDestroyClientContext(&link_); });
    }
}

void RpcConnection::SetPeer(RpcBinding binding, std::uint64_t token, std::uint32_t process_id) {
    binding_ = std::move(binding);
    peer_token_ = token;
    peer_.emplace(process_id);
    peer_process_id_ = process_id;
}

bool RpcConnection::Open(std::weak_ptr<RequestHandler> handler) noexcept {
    peer_->Watch(OnProcessEnded, token_);
    {
        const std::lock_guard guard(state_lock_);
        if (state_ == State::kNew) {
            handler_ = std::move(handler);
            state_ = State::kOpen;
            left_new_.notify_all();
            return true;
        }
    }
    if (const auto told = handler.lock()) told->OnTransportClosed(reason_);
    return false;
}

void RpcConnection::AwaitOpening() {
    if (state_ != State::kNew) return;
    std::unique_lock guard(state_lock_);
    left_new_.wait(guard, [this] { return state_ != State::kNew; });
}

void RpcConnection::Close(vek::result_t reason) noexcept { End(reason, true, "it is closed"); }

void RpcConnection::Lose(std::string_view why) noexcept {
    End(result::kRemoteCallFailed, false, why);
}

void RpcConnection::End(vek::result_t reason, bool tell_peer, std::string_view why) noexcept {
    std::shared_ptr<RequestHandler> handler;
    {
        const std::lock_guard guard(state_lock_);
        if (state_ == State::kClosed) return;
        state_ = State::kClosed;
        left_new_.notify_all();
        reason_ = reason;
        handler = handler_.lock();
    }
    trace::Write(tracer_, trace::level::kRemoting, "rmt\tTransport to process ", peer_process_id(),
                 " has ended: ", why, ", result = ", trace::Hex(reason));
    RpcServer::Get().RemoveConnection(token_);
    const bool waits = waiting_.Cancel();
    if (waits || tell_peer) {
        // Neither is to keep the caller waiting.
        try {
            vek::platform::TheSystem().StartThread(
                [self = shared_from_this(), tell_peer] { self->FinishEnd(tell_peer); });
        } catch (...) {  // NOLINT(bugprone-empty-catch): the peer finds out with its next call
        }
    }
    if (handler) handler->OnTransportClosed(reason);
}

void RpcConnection::FinishEnd(bool tell_peer) noexcept {
    while (waiting_.Cancel()) std::this_thread::sleep_for(kCancelPause);
    if (!tell_peer || binding_.get() == nullptr) return;
    const CallTimeout timeout(kFarewell);
    Guarded([this] { ::CallDisconnect(binding_.get(), peer_token_); });
}

}  // namespace remote
