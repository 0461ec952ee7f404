#pragma once

#include <atomic>
#include <cstdint>

#include "remote/transport.h"
#include "vek/remoting/call.h"
#include "vek/remoting/service_calls.h"

namespace vek::remoting {

// Serves what the peer asks of one connection: finds whom a request is for and has it answered.
// Called for several requests at once; has no lock.
class IncomingProcessor {
public:
    // The connection owns the processor.
    explicit IncomingProcessor(Connection& connection) noexcept
        : connection_(connection), service_calls_(connection) {}

    void Process(remote::RpcProtocolProcessorIn& request, remote::ReplySender& sender) noexcept;

    std::uint64_t requests_served() const noexcept { return requests_served_; }

private:
    result_t Release(const ReleasedList& released) noexcept;
    void Route(const CallTarget& target, bytes_t data, ReplyPort& reply);
    void RouteToStub(const CallTarget& target, bytes_t data, ReplyPort& reply);

    Connection& connection_;
    ServiceCalls service_calls_;
    std::atomic<std::uint64_t> requests_served_{0};
};

}  // namespace vek::remoting
