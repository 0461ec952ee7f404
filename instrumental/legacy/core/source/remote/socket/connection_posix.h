#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>

#include "remote/socket/frame_posix.h"
#include "remote/socket/lane_pool_posix.h"
#include "remote/socket/lane_posix.h"
#include "remote/transport.h"
#include "vek/platform/descriptor_posix.h"

namespace remote {

// One peer: a control socket, on which nothing but new lanes is said and whose end is the end of
// the peer, and the lanes of both directions. Either side opens the lanes that it calls on. The
// threads that serve the peer share this object with the transport.
class SocketConnection final : public std::enable_shared_from_this<SocketConnection> {
public:
    SocketConnection(vek::platform::Descriptor control, std::uint32_t peer_process_id,
                     const TransportConfig& config);

    // From now on `handler` serves. False when closed before: the handler has been told.
    bool Open(std::weak_ptr<RequestHandler> handler) noexcept;

    // Takes in the peer's lanes from when this is open until the peer is gone. The body of a thread
    // of its own.
    void WatchControl() noexcept;

    vek::result_t Call(RpcProtocolProcessorOut& request, RpcProtocolProcessorIn& reply);
    void Close(vek::result_t reason) noexcept;
    bool IsOpen() const noexcept { return state_ == State::kOpen; }

    int control() const noexcept { return control_.get(); }
    std::uint32_t peer_process_id() const noexcept { return peer_process_id_; }

private:
    enum class State { kNew, kOpen, kClosed };

    // Calls.
    vek::result_t OpenLane(lane_ptr_t& lane);
    vek::result_t Exchange(SocketLane& lane, RpcProtocolProcessorOut& request,
                           RpcProtocolProcessorIn& reply);
    vek::result_t ReadReply(Frame& frame, std::uint32_t call_id, RpcProtocolProcessorIn& reply);

    // Service.
    void TakeInLane(vek::platform::Descriptor socket);
    void ServeLane(const lane_ptr_t& lane) noexcept;
    // False when the lane is of no more use.
    bool ServeRequest(SocketLane& lane, Frame& frame) noexcept;
    // Gives why there is no reply.
    vek::result_t HandleRequest(Frame& frame, ReplySender& reply) noexcept;

    void End(vek::result_t reason, std::string_view why) noexcept;
    // Give what a call is to return whose request was on its way.
    vek::result_t Lose(std::string_view why) noexcept;
    vek::result_t Lose(Receiving received) noexcept;

    const vek::platform::Descriptor control_;
    const std::uint32_t peer_process_id_;
    const vek::trace::TracerPtr tracer_;
    const bool adopt_handles_;

    std::mutex control_lock_;  // one frame at a time
    LanePool pool_;
    LaneSet calling_;
    LaneSet serving_;
    std::atomic<std::uint32_t> served_{0};
    ByteBudget budget_{0};

    std::mutex state_lock_;
    std::atomic<State> state_{State::kNew};
    std::weak_ptr<RequestHandler> handler_;  // set before the first request
    vek::result_t reason_ = vek::result::kOk;
};

}  // namespace remote
