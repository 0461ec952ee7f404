#pragma once

#include <condition_variable>
#include <mutex>
#include <vector>

#include "remote/socket/lane_posix.h"
#include "vek/core/function_ref.h"
#include "vek/core/result.h"

namespace remote {

// The lanes on which this process calls. Any thread.
class LanePool {
public:
    LanePool() { idle_.reserve(kMaxIdle); }

    // Opens one more. Called without a lock, by several threads at once.
    using opener_t = vek::FunctionRef<vek::result_t(lane_ptr_t& lane)>;

    // Gives a lane that nobody else uses: an idle one, or else a new one; waits for one to become
    // idle when no more can be opened. kNotReady once ended, the opener's code when there is none
    // to wait for.
    vek::result_t Take(opener_t open, lane_ptr_t& lane);

    // Gives back what Take gave. False when the pool does not keep it: there are more idle ones
    // than are worth their threads.
    bool GiveBack(const lane_ptr_t& lane) noexcept;

    // Nobody waits any more.
    void End() noexcept;

private:
    // A lane that waits for its next call costs a thread in the peer.
    static constexpr std::size_t kMaxIdle = 8;

    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<lane_ptr_t> idle_;
    std::size_t taken_ = 0;  // those being opened too
    bool ended_ = false;
};

}  // namespace remote
