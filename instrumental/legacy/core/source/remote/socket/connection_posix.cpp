#include "remote/socket/connection_posix.h"

#include <sys/socket.h>

#include "vek/trace/line.h"

namespace remote {
namespace {

namespace result = vek::result;
namespace trace = vek::trace;

std::string_view TextOf(Receiving received) noexcept {
    switch (received) {
        case Receiving::kFrame:
            return "an unexpected frame came";
        case Receiving::kEnded:
            return "the peer has gone";
        case Receiving::kLost:
            return "the peer has gone in the middle of a frame";
        case Receiving::kMalformed:
            return "a malformed frame came";
        case Receiving::kNoMemory:
            return "there is no memory for a frame";
        case Receiving::kTooMuch:
            return "the peer has too much in this process";
    }
    return {};
}

}  // namespace

SocketConnection::SocketConnection(vek::platform::Descriptor control, std::uint32_t peer_process_id,
                                   const TransportConfig& config)
    : control_(std::move(control)),
      peer_process_id_(peer_process_id),
      tracer_(config.tracer),
      adopt_handles_(config.adopt_handles) {}

bool SocketConnection::Open(std::weak_ptr<RequestHandler> handler) noexcept {
    {
        const std::lock_guard guard(state_lock_);
        if (state_ == State::kNew) {
            handler_ = std::move(handler);
            state_ = State::kOpen;
            state_.notify_all();
            return true;
        }
    }
    if (const auto told = handler.lock()) told->OnTransportClosed(reason_);
    return false;
}

void SocketConnection::Close(vek::result_t reason) noexcept { End(reason, "it is closed"); }

void SocketConnection::End(vek::result_t reason, std::string_view why) noexcept {
    std::shared_ptr<RequestHandler> handler;
    {
        const std::lock_guard guard(state_lock_);
        if (state_ == State::kClosed) return;
        state_ = State::kClosed;
        state_.notify_all();
        reason_ = reason;
        handler = handler_.lock();
    }
    trace::Write(tracer_, trace::level::kRemoting, "rmt\tTransport to process ", peer_process_id_,
                 " has ended: ", why, ", result = ", trace::Hex(reason));
    ::shutdown(control_.get(), SHUT_RDWR);
    pool_.End();
    calling_.End();
    serving_.End();
    if (handler) handler->OnTransportClosed(reason);
}

vek::result_t SocketConnection::Lose(std::string_view why) noexcept {
    End(result::kRemoteCallFailed, why);
    return result::kRemoteCallFailed;
}

vek::result_t SocketConnection::Lose(Receiving received) noexcept { return Lose(TextOf(received)); }

}  // namespace remote
