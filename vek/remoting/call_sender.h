#pragma once

#include <atomic>
#include <cstdint>

#include "vek/remoting/attached_transport.h"
#include "vek/remoting/call.h"
#include "vek/remoting/feature_agreement.h"
#include "vek/remoting/release_queue.h"
#include "vek/remoting/rope.h"
#include "vek/remoting/stub_registry.h"

namespace vek::remoting {

class Connection;

// The peer's answer to one call; owns its bytes. When it goes, the kernel handles that came with it
// are closed and the stubs that the peer has let go are released: not before, since one of them may
// be what the reply gives.
struct Reply {
    Reply() = default;
    ~Reply() {
        if (registry != nullptr && released.size() != 0)
            static_cast<void>(registry->ReleaseStubs(released));
    }
    Reply(const Reply&) = delete;
    Reply& operator=(const Reply&) = delete;

    remote::RpcProtocolProcessorIn packet;
    ReceivedHandles handles{packet};
    bool has_data = false;  // whether there is a stream of reply data
    bytes_t data;           // the reply data, in `packet`
    ReleasedList released;  // in `packet`
    StubRegistry* registry = nullptr;
    bool delivered = true;  // false: the request certainly never reached the peer
};

// Sends the calls of one connection. Operations may be called from any thread, several at once, and
// none raises; it has no lock of its own.
class CallSender {
public:
    // All of them belong to the connection and must outlive the sender.
    CallSender(Connection& connection, const AttachedTransport& transport, ReleaseQueue& releases,
               StubRegistry& registry, const FeatureAgreement& features,
               const trace::TracerPtr& tracer) noexcept
        : connection_(connection),
          transport_(transport),
          releases_(releases),
          registry_(registry),
          features_(features),
          tracer_(tracer) {}

    // The same steps report themselves under two names.
    struct Texts {
        const char* cannot_place;
        const char* cannot_unwrap;
    };

    // Sends a request, with the handles that wait to be let go, and waits for its reply, for as
    // long as the calling thread says (call_wait.h). The nodes must stay as they are meanwhile; the
    // heads are put in front of them. The code says whether the request was served; the object's
    // answer is in the reply, unless that has no data. Handles of a request that never reached the
    // peer wait again.
    result_t SendReceive(const CallTarget& target, Rope& request, Reply& reply) noexcept {
        static constexpr Texts kTexts{"VEK remoting: cannot place data in out packet",
                                      "VEK remoting: cannot unwrap reply"};
        return Exchange(kTexts, target, request, reply);
    }
    // The same for calls of proxies, which carry no kernel handles.
    result_t DoSendReceiveWithRopes(const CallTarget& target, Rope& request,
                                    Reply& reply) noexcept {
        static constexpr Texts kTexts{
            "VEK remoting, DoSendReceiveWithRopes: cannot place data in out packet",
            "VEK remoting, DoSendReceiveWithRopes: cannot unwrap reply"};
        return Exchange(kTexts, target, request, reply);
    }

    std::uint64_t requests_sent() const noexcept { return request_number_; }

private:
    result_t Exchange(const Texts& texts, const CallTarget& target, Rope& request,
                      Reply& reply) noexcept;
    [[gnu::always_inline]] result_t DoExchange(const Texts& texts, const CallTarget& target,
                                               Rope& request, Reply& reply);
    [[gnu::always_inline]] result_t Transmit(remote::RpcProtocolProcessorOut& packet, Rope& request,
                                             Reply& reply);
    [[gnu::always_inline]] std::uint32_t NextCallId() noexcept;

    Connection& connection_;
    const AttachedTransport& transport_;
    ReleaseQueue& releases_;
    StubRegistry& registry_;
    const FeatureAgreement& features_;
    const trace::TracerPtr& tracer_;
    std::atomic<std::uint64_t> request_number_{0};
};

}  // namespace vek::remoting
