#pragma once

#include <cstdint>
#include <utility>

#include "vek/remoting/call.h"

namespace vek::remoting {

class Connection;

// One request being served on this thread, on its stack. Calls that the thread makes meanwhile are
// its children, and handles that it lets go ride on what it sends next.
class ServingFrame {
public:
    ServingFrame(Connection& connection, std::uint32_t call_id) noexcept;
    ~ServingFrame();
    ServingFrame(const ServingFrame&) = delete;
    ServingFrame& operator=(const ServingFrame&) = delete;

    // The innermost request of `connection` that this thread serves and has not answered yet; null
    // when there is none.
    static ServingFrame* Current(const Connection& connection) noexcept;

    std::uint32_t call_id() const noexcept { return call_id_; }

    // The answer is on its way: nothing can ride on it any more.
    void MarkAnswered() noexcept { answered_ = true; }

    // False when there is no memory to remember it.
    bool Release(stub_handle_t handle) noexcept;

    const released_t& released() const noexcept { return released_; }
    void AddReleased(const released_t& more) {
        released_.insert(released_.end(), more.begin(), more.end());
    }

    // Those remembered so far, which are then forgotten. Those that are never taken go with what
    // the connection sends next.
    released_t TakeReleased() noexcept { return std::exchange(released_, {}); }

private:
    Connection& connection_;
    const std::uint32_t call_id_;
    ServingFrame* const outer_;
    released_t released_;
    bool answered_ = false;
};

}  // namespace vek::remoting
