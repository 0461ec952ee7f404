#pragma once

#include "remote/packet/rpc_protocol_processor_in.h"
#include "vek/platform/native_handle.h"

namespace vek::remoting {

// Closes the kernel handles that came with a packet when it has been dealt with. None of the
// interfaces here takes any: a peer that sends them must not fill this process with handles.
class ReceivedHandles {
public:
    explicit ReceivedHandles(const remote::RpcProtocolProcessorIn& packet) noexcept
        : packet_(packet) {}
    ~ReceivedHandles() {
        for (const remote::handle_t handle : packet_.handles()) {
            platform::CloseNativeHandle(handle);
        }
    }
    ReceivedHandles(const ReceivedHandles&) = delete;
    ReceivedHandles& operator=(const ReceivedHandles&) = delete;

private:
    const remote::RpcProtocolProcessorIn& packet_;
};

}  // namespace vek::remoting
