// Calls of a peer over the RPC runtime, and its replies. The first byte says of which operation,
// the rest is what the runtime has received.

#include <cstdint>
#include <cstdlib>

#include "remote/packet/rpc_protocol_processor_in.h"
#include "remote/rpc/wire.h"

namespace {

namespace wire = remote::wire;
using remote::bytes_t;

// What is taken for a packet has been received.
void TakePacket(bytes_t received, bytes_t packet) {
    const std::byte* const end = received.data() + received.size();
    if (packet.size() > received.size() ||
        (!packet.empty() &&
         (packet.data() < received.data() || packet.data() + packet.size() > end))) {
        std::abort();
    }
    remote::RpcProtocolProcessorIn in;
    static_cast<void>(in.ParsePacket(packet));
}

template <class Request>
void TakeRequest(bytes_t received) {
    const auto request = wire::ReadWithPart<Request>(received);
    if (!request) return;
    if (request->second.size() > remote::kMaxPartSize) std::abort();
    TakePacket(received, request->second);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const bytes_t received = std::as_bytes(std::span(data, size)).subspan(1);
    switch (data[0] % 6) {
        case 0:
            wire::Read<wire::ConnectRequest>(received);
            break;
        case 1:
            wire::Read<wire::ConfirmReply>(received);
            break;
        case 2:
            TakeRequest<wire::SendRequest>(received);
            break;
        case 3:
            TakeRequest<wire::SendReceiveRequest>(received);
            break;
        case 4:
            wire::Read<wire::ConnectReply>(received);
            break;
        default:
            if (const auto reply = wire::ReadPacketReply(received)) {
                TakePacket(received, reply->packet);
            }
    }
    return 0;
}
