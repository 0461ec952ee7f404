#pragma once

// The way between two processes, under one connection. Both ends call and are called.
//
// Codes that every operation may give: kRemoteCallFailed when the peer was lost or the transport
// was closed while a request was on its way: it may have been carried out or not. kNotReady when it
// certainly was not: there is nobody at the endpoint, or the peer was lost before. Nor was it with
// kInsufficientResources: this end lacks what sending takes, memory included, or the peer has too
// much to do.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "remote/endpoint.h"
#include "remote/packet/rpc_protocol_processor_in.h"
#include "remote/packet/rpc_protocol_processor_out.h"
#include "vek/core/result.h"
#include "vek/trace/tracer.h"

namespace remote {

// The most that one packet may be. A longer one ends the transport it arrives on.
inline constexpr std::uint64_t kMaxPacketSize = std::uint64_t{256} << 20;

// A peer that keeps more requests than this waiting at once is refused the next.
inline constexpr std::uint32_t kMaxServedRequests = 256;

// A listener takes in no more connections of one process, and, where it is for all accounts, of one
// account: nobody is to leave no room for others.
inline constexpr std::size_t kMaxConnectionsOfProcess = 8;
inline constexpr std::size_t kMaxConnectionsOfAccount = 32;

// Calls within calls, on one thread.
inline constexpr std::uint32_t kMaxNesting = 64;

// Sends the reply to one request, once, before HandleRequest returns.
class ReplySender {
public:
    // A failure needs no further action: the peer is lost, or is told that there is no reply.
    virtual vek::result_t Send(RpcProtocolProcessorOut& reply) noexcept = 0;

protected:
    ~ReplySender() = default;
};

// Serves what the peer asks.
class RequestHandler {
public:
    virtual ~RequestHandler() = default;

    // Called for each packet of a request, on a thread of the transport's or on one that waits in
    // SendReceive, and for several at once. The packet is well-formed; its content is the peer's.
    // The handler owns the packet's handles.
    virtual void HandleRequest(RpcProtocolProcessorIn& request, ReplySender& reply) noexcept = 0;

    // Called once when the transport has come to its end, with the reason: by Close, or
    // kRemoteCallFailed for a peer that was lost. No request is handed over afterwards, those being
    // served go on. On any thread.
    virtual void OnTransportClosed(vek::result_t reason) noexcept = 0;
};

// What Windows calls medium, which is what the programs of a user have (winnt.h).
inline constexpr std::uint32_t kMediumIntegrity = 0x2000;

// A process as the system knows it; none of this is its own word.
struct PeerIdentity {
    std::uint32_t process_id = 0;
    std::uint32_t session_id = 0;
    std::string account;          // a text SID
    std::uint32_t integrity = 0;  // the last number of the mandatory label's SID
    // Whether a person is logged on to it: its token has the group INTERACTIVE (S-1-5-4).
    bool is_interactive = false;
};

// Operations may be called from any thread, several at once. Destroying it closes it.
class Transport {
public:
    virtual ~Transport() = default;

    // Sends `request` and waits, without limit, until its reply is in `reply`. Requests that the
    // peer makes in serving it are handled meanwhile. Blocks the calling thread alone.
    virtual vek::result_t SendReceive(RpcProtocolProcessorOut& request,
                                      RpcProtocolProcessorIn& reply) noexcept = 0;

    // Whether SendReceiveWithFiles can be used, which is SendReceive for packets with handles: it
    // gives kNotSupported otherwise, and nothing is sent.
    virtual bool SupportsFiles() const noexcept = 0;
    virtual vek::result_t SendReceiveWithFiles(RpcProtocolProcessorOut& request,
                                               RpcProtocolProcessorIn& reply) noexcept = 0;

    // Ends the transport: calls that wait return kRemoteCallFailed, the handler is told `reason`.
    // Does not wait for the calls. May be called again, and from within a request.
    virtual void Close(vek::result_t reason) noexcept = 0;

    // False once closed or lost.
    virtual bool IsOpen() const noexcept = 0;

    // Who the peer is. Where sockets carry the packets the account is "uid:" with the number, the
    // session 0, the integrity medium, and each process counts as interactive. Valid as long as
    // the transport exists.
    virtual const PeerIdentity& peer() const noexcept = 0;
};

// Whether a process of the wanted account may be a peer; asked before anything of it is read.
// Empty: each one may.
using PeerCheck = std::function<bool(std::uint32_t process_id)>;

// For the listener of a service: whoever works at this machine, that is the processes that are
// interactive and of medium integrity or more, of every account and session.
inline constexpr char kInteractiveUsers[] = "*";

// What becomes of kernel handles that come with a packet. Both ends have the same.
enum class HandlePolicy {
    // The packet is refused with kNotSupported, and this end sends none.
    kRefuse,
    // Each is duplicated. The sender closes those that it has pushed here when it has the reply.
    kDuplicate,
    // Those that the sender has pushed here are taken as they are: only for a peer that is trusted
    // to name none but those.
    kAdopt,
};

struct TransportConfig {
    vek::trace::TracerPtr tracer;
    PeerCheck peer_check;
    // Whose processes may be peers: a text SID, or kInteractiveUsers in a listener. Empty: the
    // processes of this one's user, on Windows in this one's session and of no lower integrity.
    // Where sockets carry the packets it is not used: no other user's process is a peer.
    std::string peer_account = {};
    // The process that is expected at the endpoint; 0 when it is not known. One of Windows that
    // does not listen yet is waited for, where this process may know of it (process_event.h).
    std::uint32_t peer_process = 0;
    HandlePolicy handles = HandlePolicy::kRefuse;
    // How long ConnectTransport waits for the peer; a millisecond at least.
    std::chrono::milliseconds connect_timeout{3000};
    // Asked now and then meanwhile: true ends the wait. May be empty.
    std::function<bool()> gives_up = {};
};

// Reaches the process at `endpoint`. The transport keeps `handler` alive no longer than it is
// itself alive and open: it holds it weakly. Fails within the time of `config` whatever the peer
// does: kNotReady when there is nobody, kAccessDenied when the peer is refused or refuses.
vek::result_t ConnectTransport(const Endpoint& endpoint, std::weak_ptr<RequestHandler> handler,
                               const TransportConfig& config,
                               std::shared_ptr<Transport>& transport) noexcept;

// Takes in one new peer: gives the handler of its requests, or null to refuse it. The handler is
// held weakly: whoever accepts keeps it, and the transport, which can be called on from when this
// has returned. Called on threads of the listener's, several at once.
using AcceptPeer = std::function<std::shared_ptr<RequestHandler>(std::shared_ptr<Transport>)>;

// Lets processes connect at an endpoint of this process until it is destroyed, which waits for
// calls of AcceptPeer and must not be done in one. Transports that it has made live on.
class Listener {
public:
    virtual ~Listener() = default;

    // As listened at: with the port that the system chose when that was 0 and local_id too.
    virtual Endpoint endpoint() const noexcept = 0;
};

// "Already exists": somebody listens there.
inline constexpr vek::result_t kEndpointTaken = 0x80010105;

// Gives a listener at `endpoint`. kAccessDenied, kEndpointTaken or another platform code when the
// endpoint cannot be had.
vek::result_t Listen(const Endpoint& endpoint, AcceptPeer accept, const TransportConfig& config,
                     std::unique_ptr<Listener>& listener) noexcept;

}  // namespace remote
