#pragma once

// Who the process at the other end is, as the system tells. Nobody's own word counts, and nobody's
// process is opened.

#include <rpc.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "remote/process_event.h"
#include "remote/transport.h"

namespace remote {

// Asks the system. A seam: a test passes one that tells something else, or nothing. Any thread.
class IdentitySource {
public:
    virtual ~IdentitySource() = default;

    // The process that makes the call which this thread serves; 0 when the system does not tell, as
    // for callers on other machines and over TCP.
    virtual std::uint32_t CallingProcess(RPC_BINDING_HANDLE call) noexcept = 0;
    // Everything of it; nothing when a part is missing.
    virtual std::optional<PeerIdentity> Caller(RPC_BINDING_HANDLE call) = 0;
    // Lets no call over `binding` reach a server of another account. A failure when the system
    // cannot.
    virtual RPC_STATUS RequireServer(RPC_BINDING_HANDLE binding, const Endpoint& endpoint,
                                     const std::string& account) = 0;
    // This process.
    virtual std::optional<PeerIdentity> Self() = 0;
};

// The system's own, unless a test has put another in its place; null puts the system's back.
IdentitySource& TheIdentitySource() noexcept;
void SetIdentitySource(IdentitySource* source) noexcept;

// Whether such a peer is one that `config` wants: as its peer_account says, and one that its check
// passes.
bool IsPeerAllowed(const PeerIdentity& peer, const TransportConfig& config);

// The account that `config` wants, as a text SID; kInteractiveUsers too. Empty when the system does
// not tell whose this process is.
std::string WantedAccount(const TransportConfig& config);

// Where both ends of a connection look for a process's event: those that may be of different
// accounts, and sessions, in all of them.
EventNamespace EventNamespaceOf(const TransportConfig& config);

// Whether the system is Wine, which lacks some of what the RPC runtime has.
bool IsWine() noexcept;

}  // namespace remote
