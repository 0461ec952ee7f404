#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "remote/peer_connection.h"
#include "remote/rpc/binding_win32.h"
#include "remote/rpc/call_win32.h"
#include "remote/rpc/identity_win32.h"
#include "remote/rpc/peer_win32.h"
#include "remote/rpc/raw_call_win32.h"
#include "remote/rpc/server_win32.h"
#include "remote/rpc/wire.h"
#include "vek/platform/lock.h"

namespace remote {

// The answer to a token that none of a process's connections has.
inline constexpr vek::result_t kUnknownToken = vek::result::kInvalidHandle;

// The client's part of the hold that a server has given it.
void* TakeLink(RPC_BINDING_HANDLE binding, wire::link_bytes_t link) noexcept;

// A peer over the RPC runtime. Each end is a client of the other; what an end is called under is
// its token.
class RpcConnection final : public PeerConnection,
                            public std::enable_shared_from_this<RpcConnection> {
public:
    // Known to the server from now on; what comes waits until it is open.
    static std::shared_ptr<RpcConnection> Create(const TransportConfig& config);
    explicit RpcConnection(const TransportConfig& config);
    ~RpcConnection() override;

    // Whom to call, and under what token, before it is opened.
    void SetPeer(RpcBinding binding, std::uint64_t token);
    // Who the peer is: nobody else's calls are served. Its process is watched from now on, as far
    // as the system lets this one. To be called once.
    void SetIdentity(const PeerIdentity& peer);
    // The client's part of what the server learns of its end by.
    void SetLink(void* link) noexcept { link_ = link; }

    // Whether the server that is being connected to is what the configuration wants, as it says so
    // by a call of its own. True once.
    bool Confirm(const PeerIdentity& server);
    bool IsConfirmed() const noexcept { return peer_process_id() != 0; }

    vek::result_t Call(RpcProtocolProcessorOut& request, RpcProtocolProcessorIn& reply) override;
    bool SupportsFiles() const noexcept override { return peer_ && peer_->duplicator() != nullptr; }
    using PeerConnection::handles;

    // Keeps a part of a request of several. A peer that sends too much is lost.
    vek::result_t TakePart(std::uint32_t number, bytes_t part);
    // Serves a request of the peer that is made in `depth` others, whose parts before `last` have
    // been taken as `number`, if that is not 0. Writes the reply's packet, or gives why there is
    // none.
    vek::result_t Serve(std::uint32_t depth, std::uint32_t number, bytes_t last,
                        ServedCall& call) noexcept;

    std::uint64_t token() const noexcept { return token_; }

private:
    struct Parts;

    // Of a call to the peer: the runtime's account of it, and then the peer's or this end's.
    struct Outcome {
        RPC_STATUS status = RPC_S_OK;
        vek::result_t code = vek::result::kOk;
    };
    static Outcome BeforeItWasSent(const Outcome& outcome) noexcept;

    Outcome SendParts(std::uint32_t number, bytes_t& packet) noexcept;
    Outcome Transmit(RpcProtocolProcessorOut& request, HandleTransfer& transfer, RawCall& call);
    vek::result_t Exchange(RpcProtocolProcessorOut& request, HandleTransfer& transfer,
                           PacketBuffer& reply);
    vek::result_t CodeOf(const Outcome& outcome);
    void OnEnded(Ending ending) noexcept override;
    void FinishEnd(bool tell_peer) noexcept;

    const RpcServer::Use use_;
    std::uint64_t token_ = 0;

    RpcBinding binding_;
    std::uint64_t peer_token_ = 0;
    std::optional<PeerProcess> peer_;
    void* link_ = nullptr;
    const TransportConfig wanted_;  // until the peer is known
    vek::platform::Lock confirm_lock_;

    std::atomic<std::uint32_t> last_number_{0};
    vek::platform::Lock parts_lock_;
    std::map<std::uint32_t, std::shared_ptr<Parts>> parts_;

    WaitingCalls waiting_;
};

}  // namespace remote
