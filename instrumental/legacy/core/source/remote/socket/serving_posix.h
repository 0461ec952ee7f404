#pragma once

#include <cstdint>

#include "remote/socket/lane_posix.h"

namespace remote {

class SocketConnection;

// Marks that this thread serves a request of a peer: until it has been replied to, the lane on
// which it came is this thread's to call the peer on, who waits at the other end of it.
class Serving {
public:
    Serving(const SocketConnection& connection, SocketLane& lane) noexcept
        : connection_(connection), lane_(lane), outer_(innermost_) {
        innermost_ = this;
    }
    ~Serving() { innermost_ = outer_; }
    Serving(const Serving&) = delete;
    Serving& operator=(const Serving&) = delete;

    // The lane on which this thread can call the peer of `connection`, or null.
    static SocketLane* LaneTo(const SocketConnection& connection) noexcept {
        for (const Serving* serving = innermost_; serving != nullptr; serving = serving->outer_) {
            if (&serving->connection_ == &connection) {
                return serving->replied_ ? nullptr : &serving->lane_;
            }
        }
        return nullptr;
    }

    // How many requests this thread serves, one within the other.
    static std::uint32_t Depth() noexcept {
        std::uint32_t depth = 0;
        for (const Serving* serving = innermost_; serving != nullptr; serving = serving->outer_) {
            ++depth;
        }
        return depth;
    }

    bool replied() const noexcept { return replied_; }
    void set_replied() noexcept { replied_ = true; }

private:
    static thread_local Serving* innermost_;

    const SocketConnection& connection_;
    SocketLane& lane_;
    Serving* const outer_;
    bool replied_ = false;
};

}  // namespace remote
