// Feeds a connection the bytes of a peer on a socket: frames, verdicts, and the packets in them.

#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

#include "remote/packet/rpc_protocol_processor_in.h"
#include "remote/socket/frame_posix.h"
#include "remote/socket/handle_transfer_posix.h"
#include "vek/platform/descriptor_posix.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 60000) return 0;  // what a socket takes without a reader
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
    const vek::platform::Descriptor reader(ends[0]);
    const vek::platform::Descriptor writer(ends[1]);
    if (::send(writer.get(), data, size, MSG_NOSIGNAL) != static_cast<ssize_t>(size)) std::abort();
    ::shutdown(writer.get(), SHUT_WR);

    for (;;) {
        remote::Frame frame;
        const auto received = remote::ReceiveFrame(reader.get(), 1u << 20, frame);
        if (received != remote::Receiving::kFrame) break;
        vek::result_t verdict = 0;
        if (remote::ReadVerdict(frame, verdict)) continue;
        remote::RpcProtocolProcessorIn packet;
        vek::result_t code = packet.ParsePacket(std::move(frame.body));
        remote::PosixHandleTransfer transfer(std::move(frame.descriptors));
        if (vek::Succeeded(code)) code = packet.PrepareHandles(transfer, false);
        if (vek::Failed(code) && packet.has_call_data() && packet.GetCallData().size() > size) {
            std::abort();
        }
    }
    return 0;
}
