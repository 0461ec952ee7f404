#pragma once

// Where a process is reached on this system: a Unix-domain stream socket in the abstract namespace,
// so that nothing stays behind in a folder. Its name is the endpoint's.

#include <sys/types.h>

#include <chrono>
#include <cstdint>

#include "remote/endpoint.h"
#include "remote/transport.h"
#include "vek/core/result.h"
#include "vek/platform/descriptor_posix.h"

namespace remote {

// Takes the name. kAccessDenied, kEndpointTaken or kInsufficientResources.
vek::result_t ListenAt(const Endpoint& endpoint, vek::platform::Descriptor& socket);

// kNotReady when nobody listens, or does not take the connection in before `timeout`.
vek::result_t ConnectTo(const Endpoint& endpoint, std::chrono::milliseconds timeout,
                        vek::platform::Descriptor& socket);

// A connected pair.
vek::result_t MakePair(vek::platform::Descriptor& here, vek::platform::Descriptor& there) noexcept;

// The process at the other end of a connected socket, as the kernel noted it when the connection
// was made (SO_PEERCRED of unix(7)). 0 when `socket` is no Unix-domain stream socket.
std::uint32_t PeerProcess(int socket) noexcept;

// All that the kernel noted; nothing of another kind of socket.
PeerIdentity PeerOf(int socket);

// Whether such a process may be a peer.
bool IsPeerAllowed(const PeerIdentity& peer, const PeerCheck& check);

// Limits each wait in receiving; zero: no limit.
void LimitReceiving(int socket, std::chrono::milliseconds timeout) noexcept;

}  // namespace remote
