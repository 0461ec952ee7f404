#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "remote/peer_connection.h"
#include "remote/rpc/binding_win32.h"
#include "remote/rpc/call_win32.h"
#include "remote/rpc/peer_win32.h"
#include "remote/rpc/server_win32.h"

namespace remote {

// The answer to a token that none of a process's connections has.
inline constexpr vek::result_t kUnknownToken = vek::result::kInvalidHandle;

// A peer over the RPC runtime. Each end is a client of the other; what an end is called under is
// its token.
class RpcConnection final : public PeerConnection,
                            public std::enable_shared_from_this<RpcConnection> {
public:
    // Known to the server from now on; what comes waits until it is open.
    static std::shared_ptr<RpcConnection> Create(const TransportConfig& config);
    explicit RpcConnection(const TransportConfig& config) : PeerConnection(config) {}
    ~RpcConnection() override;

    // Whom to call, before it is opened. Its process is watched from now on.
    void SetPeer(RpcBinding binding, std::uint64_t token, std::uint32_t process_id);
    // The client's part of what the server learns of its end by.
    void SetLink(void* link) noexcept { link_ = link; }

    vek::result_t Call(RpcProtocolProcessorOut& request, RpcProtocolProcessorIn& reply) override;
    bool SupportsFiles() const noexcept override { return peer_ && peer_->duplicator() != nullptr; }

    // Serves a request of the peer that is made in `depth` others. `reply` is of std::malloc, or
    // null with a failure.
    vek::result_t Serve(std::uint32_t depth, bytes_t packet, std::span<std::byte>& reply) noexcept;

    std::uint64_t token() const noexcept { return token_; }

private:
    vek::result_t Exchange(const PacketBuffer& request, PacketBuffer& reply);
    void OnEnded(Ending ending) noexcept override;
    void FinishEnd(bool tell_peer) noexcept;

    const RpcServer::Use use_;
    std::uint64_t token_ = 0;

    RpcBinding binding_;
    std::uint64_t peer_token_ = 0;
    std::optional<PeerProcess> peer_;
    void* link_ = nullptr;

    WaitingCalls waiting_;
};

}  // namespace remote
