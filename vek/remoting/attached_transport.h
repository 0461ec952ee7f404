#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "remote/transport.h"
#include "vek/platform/lock.h"

namespace vek::remoting {

// The transport of one connection, from its attachment to the connection's end. Operations may be
// called from any thread; the lock is held for the attachment and the end alone.
class AttachedTransport {
public:
    AttachedTransport() = default;
    AttachedTransport(const AttachedTransport&) = delete;
    AttachedTransport& operator=(const AttachedTransport&) = delete;

    // Once, before the first call. Ignored after the end: the peer was lost before.
    void Attach(std::shared_ptr<remote::Transport> transport) noexcept {
        const std::lock_guard guard(lock_);
        if (ended_) return;
        owner_ = std::move(transport);
        attached_ = owner_.get();
        usable_ = true;
    }

    // From here on there is nothing to send with; the transport itself stays as it is.
    void End() noexcept {
        const std::lock_guard guard(lock_);
        ended_ = true;
        usable_ = false;
    }

    // Closes the transport, which reports that to its handler.
    void Close(result_t reason) noexcept {
        if (auto* const transport = attached_.load()) transport->Close(reason);
    }

    // Null before the attachment and after the end; valid as long as this object.
    remote::Transport* get() const noexcept { return usable_ ? attached_.load() : nullptr; }

    bool IsOpen() const noexcept {
        const auto* const transport = get();
        return transport != nullptr && transport->IsOpen();
    }

    // Nobody before the attachment.
    remote::PeerIdentity peer() const {
        const auto* const transport = attached_.load();
        return transport != nullptr ? transport->peer() : remote::PeerIdentity();
    }

private:
    platform::Lock lock_;  // guards owner_ and ended_
    std::shared_ptr<remote::Transport> owner_;
    bool ended_ = false;

    std::atomic<remote::Transport*> attached_{nullptr};  // owner_, to be read without the lock
    std::atomic<bool> usable_{false};
};

}  // namespace vek::remoting
