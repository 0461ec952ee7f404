#include "remote/socket/lane_posix.h"

#include <sys/socket.h>

#include <algorithm>

namespace remote {

void SocketLane::End() noexcept { ::shutdown(socket_.get(), SHUT_RDWR); }

bool LaneSet::Add(const lane_ptr_t& lane) {
    const std::lock_guard guard(lock_);
    if (ended_ || lanes_.size() >= kMaxLanes) return false;
    lanes_.push_back(lane);
    return true;
}

void LaneSet::Remove(const lane_ptr_t& lane) noexcept {
    const std::lock_guard guard(lock_);
    std::erase(lanes_, lane);
}

void LaneSet::End() noexcept {
    const std::lock_guard guard(lock_);
    ended_ = true;
    for (const lane_ptr_t& lane : lanes_) lane->End();
    lanes_.clear();
}

}  // namespace remote
