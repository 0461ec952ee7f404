#pragma once

#include <cstdint>
#include <memory>

#include "remote/peer_connection.h"
#include "remote/socket/channel_posix.h"
#include "remote/socket/frame_posix.h"
#include "vek/platform/descriptor_posix.h"
#include "vek/platform/lock.h"

namespace remote {

// A peer over sockets: a control socket, on which nothing but new channels is said and whose end is
// the end of the peer, and the channels of both directions. Either side opens the channels that it
// calls on.
class SocketConnection final : public PeerConnection,
                               public std::enable_shared_from_this<SocketConnection> {
public:
    SocketConnection(vek::platform::Descriptor control, PeerIdentity peer,
                     const TransportConfig& config);

    // Takes in the peer's channels from when this is open until the peer is gone. The body of a
    // thread of its own.
    void WatchControl() noexcept;

    vek::result_t Call(RpcProtocolProcessorOut& request, RpcProtocolProcessorIn& reply) override;
    bool SupportsFiles() const noexcept override { return handles() != HandlePolicy::kRefuse; }

    using PeerConnection::Lose;
    vek::result_t Lose(Receiving received) noexcept;

private:
    // Calls.
    vek::result_t OpenChannel(channel_ptr_t& channel);
    [[gnu::always_inline]] vek::result_t Exchange(SocketChannel& channel,
                                                  RpcProtocolProcessorOut& request,
                                                  RpcProtocolProcessorIn& reply);
    vek::result_t TakeReply(Frame& frame, const RpcProtocolProcessorOut& request,
                            RpcProtocolProcessorIn& reply);

    // Service.
    void TakeInChannel(vek::platform::Descriptor socket);
    void ServeChannel(const channel_ptr_t& channel) noexcept;
    // False when the channel is of no more use.
    bool ServeRequest(SocketChannel& channel, Frame& frame) noexcept;

    void OnEnded(Ending ending) noexcept override;
    int control() const noexcept { return control_.get(); }

    const vek::platform::Descriptor control_;
    vek::platform::Lock control_lock_;  // one frame at a time
    ChannelPool pool_;
    ChannelSet calling_;
    ChannelSet serving_;
};

// Marks that this thread serves a request of a peer: until it has been replied to, the channel on
// which it came is this thread's to call the peer on, who waits at the other end of it.
class SocketCallFrame {
public:
    SocketCallFrame(const SocketConnection& connection, SocketChannel& channel) noexcept
        : connection_(connection), channel_(channel), outer_(innermost_) {
        innermost_ = this;
    }
    ~SocketCallFrame() { innermost_ = outer_; }
    SocketCallFrame(const SocketCallFrame&) = delete;
    SocketCallFrame& operator=(const SocketCallFrame&) = delete;

    // The channel on which this thread can call the peer of `connection`, or null.
    static SocketChannel* ChannelTo(const SocketConnection& connection) noexcept {
        for (const auto* frame = innermost_; frame != nullptr; frame = frame->outer_) {
            if (&frame->connection_ == &connection) {
                return frame->replied_ ? nullptr : &frame->channel_;
            }
        }
        return nullptr;
    }

    // How many requests this thread serves, one within the other.
    static std::uint32_t Depth() noexcept {
        std::uint32_t depth = 0;
        for (const auto* frame = innermost_; frame != nullptr; frame = frame->outer_) ++depth;
        return depth;
    }

    bool replied() const noexcept { return replied_; }
    void set_replied() noexcept { replied_ = true; }

private:
    static thread_local SocketCallFrame* innermost_;

    const SocketConnection& connection_;
    SocketChannel& channel_;
    SocketCallFrame* const outer_;
    bool replied_ = false;
};

}  // namespace remote
