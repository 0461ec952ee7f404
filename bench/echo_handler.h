#pragma once

#include <array>

#include "remote/transport.h"

namespace bench {

// The other end of a transport: every request's data is its reply's.
class EchoHandler final : public remote::RequestHandler {
public:
    void HandleRequest(remote::RpcProtocolProcessorIn& request,
                       remote::ReplySender& reply) noexcept override {
        const std::array<remote::bytes_t, 1> pieces{request.GetCallData()};
        remote::RpcProtocolProcessorOut packet;
        packet.SetCallIdentification(request.call_id(), 0);
        packet.SetCallData(pieces);
        reply.Send(packet);
    }
    void OnTransportClosed(vek::result_t) noexcept override {}
};

}  // namespace bench
