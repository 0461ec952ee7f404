#pragma once

// The calls to a connection itself, which a peer makes before it knows any object: both sides of
// them.

#include <atomic>
#include <cstdint>

#include "vek/remoting/invocation.h"

namespace vek::remoting {

class OutgoingHandle;

// Asks the peer for its service locator and agrees the features with it. On success `handle` names
// a stub of the peer's. Closes the connection when the peer is incompatible, or does not make
// sense. May raise.
result_t RequestServiceLocator(Connection& connection, stub_handle_t& handle);

// Answers the peer's service calls. Called for several requests at once; has no lock.
class ServiceCalls {
public:
    // The connection owns what owns this.
    explicit ServiceCalls(Connection& connection) noexcept : connection_(connection) {}

    void SendReceiveStub(method_id_t call_id, bytes_t data, ReplyPort& reply);

private:
    void ServeServiceLocator(bytes_t data, ReplyPort& reply);
    result_t AgreeFeatures(bytes_t data, ReplyPort& reply);
    result_t CreateServiceLocatorStub(OutgoingHandle& handle);

    Connection& connection_;
    std::atomic<std::uint32_t> locator_requests_{0};
};

}  // namespace vek::remoting
