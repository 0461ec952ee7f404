#pragma once

// Packets in frames.

#include "remote/packet/rpc_protocol_processor_in.h"
#include "remote/packet/rpc_protocol_processor_out.h"
#include "remote/socket/frame_posix.h"

namespace remote {

// Sends `packet` and the descriptors that it has. `failure` says why when it was not begun:
// kInvalidSize, kInsufficientResources or kOutOfMemory.
Sending SendPacket(int socket, FrameKind kind, RpcProtocolProcessorOut& packet,
                   vek::result_t& failure) noexcept;

// Waits for the next frame on a lane, with the descriptors that it announces.
Receiving ReceiveOnLane(int socket, Frame& frame) noexcept;

// Gives the packet of `frame` with its handles made this process's.
vek::result_t ReadPacket(Frame& frame, bool adopt_handles, RpcProtocolProcessorIn& packet) noexcept;

}  // namespace remote
