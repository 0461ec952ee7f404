#pragma once

#include <mutex>
#include <shared_mutex>
#include <utility>

#include "remote/transport.h"

namespace remote {

// What a listener's user gave it, kept from being called once the listener is gone.
class AcceptGate {
public:
    AcceptGate(AcceptPeer accept, TransportConfig config)
        : accept_(std::move(accept)), config_(std::move(config)) {}

    // Calls `use(accept, config)` unless the gate is closed. Any thread, several at once.
    template <class Use>
    void Enter(Use use) {
        const std::shared_lock guard(lock_);
        if (open_) use(std::as_const(accept_), std::as_const(config_));
    }

    // Waits for those who have entered, and lets go of everything.
    void Close() noexcept {
        const std::unique_lock guard(lock_);
        open_ = false;
        accept_ = nullptr;
        config_ = {};
    }

private:
    std::shared_mutex lock_;
    bool open_ = true;
    AcceptPeer accept_;
    TransportConfig config_;
};

}  // namespace remote
