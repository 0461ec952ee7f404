#include "remote/socket/address_posix.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>

namespace remote {
namespace {

using vek::platform::Descriptor;
namespace result = vek::result;

struct Address {
    sockaddr_un value{};
    socklen_t size = 0;

    const sockaddr* get() const noexcept { return reinterpret_cast<const sockaddr*>(&value); }
};

// An abstract name begins with a zero byte and has no terminator (unix(7)).
Address AddressOf(const Endpoint& endpoint) {
    const std::string name = EndpointName(endpoint);
    Address address;
    address.value.sun_family = AF_UNIX;
    const std::size_t length = std::min(name.size(), sizeof address.value.sun_path - 1);
    std::copy_n(name.begin(), length, address.value.sun_path + 1);
    address.size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + length);
    return address;
}

Descriptor NewSocket() noexcept {
    return Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

void LimitWaits(int socket, int option, std::chrono::milliseconds timeout) noexcept {
    timeval time{};
    time.tv_sec = static_cast<time_t>(timeout.count() / 1000);
    time.tv_usec = static_cast<suseconds_t>(timeout.count() % 1000 * 1000);
    ::setsockopt(socket, SOL_SOCKET, option, &time, sizeof time);
}

int OptionOf(int socket, int option) noexcept {
    int value = -1;
    socklen_t size = sizeof value;
    return ::getsockopt(socket, SOL_SOCKET, option, &value, &size) == 0 ? value : -1;
}

// Of a Unix-domain stream socket.
std::optional<ucred> CredentialsOf(int socket) noexcept {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (OptionOf(socket, SO_DOMAIN) != AF_UNIX || OptionOf(socket, SO_TYPE) != SOCK_STREAM ||
        ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        return {};
    }
    return credentials;
}

std::string AccountOf(uid_t user) { return "uid:" + std::to_string(user); }

vek::result_t ResultOf(int error) noexcept {
    switch (error) {
        case EADDRINUSE:
            return kEndpointTaken;
        case EACCES:
        case EPERM:
            return result::kAccessDenied;
        default:
            return result::kInsufficientResources;
    }
}

}  // namespace

vek::result_t ListenAt(const Endpoint& endpoint, Descriptor& socket) {
    const Address address = AddressOf(endpoint);
    Descriptor made = NewSocket();
    if (!made || ::bind(made.get(), address.get(), address.size) != 0 ||
        ::listen(made.get(), SOMAXCONN) != 0) {
        return ResultOf(errno);
    }
    socket = std::move(made);
    return result::kOk;
}

vek::result_t ConnectTo(const Endpoint& endpoint, std::chrono::milliseconds timeout,
                        Descriptor& socket) {
    const Address address = AddressOf(endpoint);
    Descriptor made = NewSocket();
    if (!made) return ResultOf(errno);
    LimitWaits(made.get(), SO_SNDTIMEO, timeout);
    int connected;
    do {
        connected = ::connect(made.get(), address.get(), address.size);
    } while (connected != 0 && errno == EINTR);
    if (connected != 0) {
        return errno == EACCES || errno == EPERM ? result::kAccessDenied : result::kNotReady;
    }
    LimitWaits(made.get(), SO_SNDTIMEO, std::chrono::milliseconds{0});
    socket = std::move(made);
    return result::kOk;
}

vek::result_t MakePair(Descriptor& here, Descriptor& there) noexcept {
    int pair[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) return ResultOf(errno);
    here = Descriptor(pair[0]);
    there = Descriptor(pair[1]);
    return result::kOk;
}

std::uint32_t PeerProcess(int socket) noexcept {
    const auto credentials = CredentialsOf(socket);
    return credentials ? static_cast<std::uint32_t>(credentials->pid) : 0;
}

PeerIdentity PeerOf(int socket) {
    const auto credentials = CredentialsOf(socket);
    if (!credentials) return {};
    return {static_cast<std::uint32_t>(credentials->pid), 0, AccountOf(credentials->uid),
            kMediumIntegrity, true};
}

bool IsPeerAllowed(const PeerIdentity& peer, const PeerCheck& check) {
    return peer.account == AccountOf(::geteuid()) && (!check || check(peer.process_id));
}

void LimitReceiving(int socket, std::chrono::milliseconds timeout) noexcept {
    LimitWaits(socket, SO_RCVTIMEO, timeout);
}

}  // namespace remote
