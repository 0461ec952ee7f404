#pragma once

// A connected socket on which one of two processes calls the other. There is one thread at each
// end and at any time it is the turn of one of them, so that neither needs a lock or a thread in
// between: a call costs what its bytes cost. While one end waits for a reply, the other may make
// calls of its own, which are served within.

#include <memory>
#include <mutex>
#include <vector>

#include "vek/platform/descriptor_posix.h"

namespace remote {

// A process takes in at most this many lanes of a peer, and opens no more.
inline constexpr std::size_t kMaxLanes = 128;

class SocketLane {
public:
    explicit SocketLane(vek::platform::Descriptor socket) noexcept : socket_(std::move(socket)) {}

    int socket() const noexcept { return socket_.get(); }

    // Whoever waits at either end is told that the lane has ended. Any thread.
    void End() noexcept;

private:
    const vek::platform::Descriptor socket_;
};

using lane_ptr_t = std::shared_ptr<SocketLane>;

// The lanes of one direction, so that they can be ended together. Any thread.
class LaneSet {
public:
    // False when there are kMaxLanes or the set has been ended.
    bool Add(const lane_ptr_t& lane);
    void Remove(const lane_ptr_t& lane) noexcept;
    void End() noexcept;

private:
    std::mutex lock_;
    std::vector<lane_ptr_t> lanes_;
    bool ended_ = false;
};

}  // namespace remote
