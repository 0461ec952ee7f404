#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>

#include "remote/byte_budget.h"
#include "remote/packet/packet_buffer.h"
#include "remote/rpc/binding_win32.h"
#include "remote/rpc/call_win32.h"
#include "remote/rpc/peer_win32.h"
#include "remote/rpc/server_win32.h"
#include "remote/transport.h"

namespace remote {

// What a process says of a token that none of its connections has.
inline constexpr vek::result_t kUnknownToken = vek::result::kInvalidHandle;

// One peer. Each end is a client of the other; what an end is called under is its token.
class RpcConnection final : public std::enable_shared_from_this<RpcConnection> {
public:
    // Known to the server from now on; what comes waits until it is open.
    static std::shared_ptr<RpcConnection> Create(const TransportConfig& config);
    explicit RpcConnection(const TransportConfig& config);
    ~RpcConnection();

    // Whom to call, before it is opened.
    void SetPeer(RpcBinding binding, std::uint64_t token, std::uint32_t process_id);
    // The client's part of what the server learns of its end by.
    void SetLink(void* link) noexcept { link_ = link; }

    // From now on `handler` serves. False when closed before: the handler has been told.
    bool Open(std::weak_ptr<RequestHandler> handler) noexcept;

    vek::result_t Call(RpcProtocolProcessorOut& request, RpcProtocolProcessorIn& reply);
    void Close(vek::result_t reason) noexcept;
    // The peer has gone, or says that it closes.
    void Lose(std::string_view why) noexcept;
    bool IsOpen() const noexcept { return state_ == State::kOpen; }

    // Serves a request of the peer that is made in `depth` others. `reply` is of std::malloc, or
    // null with a failure.
    vek::result_t Serve(std::uint32_t depth, bytes_t packet, std::span<std::byte>& reply) noexcept;

    std::uint64_t token() const noexcept { return token_; }
    std::uint32_t peer_process_id() const noexcept { return peer_process_id_; }
    bool CanDuplicate() const noexcept { return peer_ && peer_->duplicator() != nullptr; }

private:
    enum class State { kNew, kOpen, kClosed };

    void AwaitOpening();
    vek::result_t Exchange(const PacketBuffer& request, PacketBuffer& reply);
    void End(vek::result_t reason, bool tell_peer, std::string_view why) noexcept;
    void FinishEnd(bool tell_peer) noexcept;

    const RpcServer::Use use_;
    const vek::trace::TracerPtr tracer_;
    const bool adopt_handles_;
    std::uint64_t token_ = 0;

    RpcBinding binding_;
    std::uint64_t peer_token_ = 0;
    std::optional<PeerProcess> peer_;
    std::atomic<std::uint32_t> peer_process_id_{0};  // asked for before there is a peer, too
    void* link_ = nullptr;

    WaitingCalls waiting_;
    std::atomic<std::uint32_t> served_{0};
    ByteBudget budget_{0};

    std::mutex state_lock_;
    std::atomic<State> state_{State::kNew};
    std::condition_variable left_new_;
    std::weak_ptr<RequestHandler> handler_;  // set before the first request is served
    vek::result_t reason_ = vek::result::kOk;
};

}  // namespace remote
