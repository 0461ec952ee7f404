#pragma once

#include "remote/transport.h"
#include "vek/remoting/call.h"

namespace vek::remoting {

class Connection;
class ReplyPort;

// Serves what the peer asks of one connection: finds whom a request is for and has it answered.
// Called for several requests at once.
class IncomingProcessor {
public:
    // The connection owns the processor.
    explicit IncomingProcessor(Connection& connection) noexcept : connection_(connection) {}

    void Process(remote::RpcProtocolProcessorIn& request, remote::ReplySender& sender) noexcept;

private:
    result_t Release(const ReleasedList& released) noexcept;
    void Route(const CallTarget& target, bytes_t data, ReplyPort& reply);
    void RouteToStub(const CallTarget& target, bytes_t data, ReplyPort& reply);

    Connection& connection_;
};

}  // namespace vek::remoting
