#include "remote/socket/lane_pool_posix.h"

#include "vek/core/current_exception.h"

namespace remote {

vek::result_t LanePool::Take(opener_t open, lane_ptr_t& lane) {
    vek::result_t opened = vek::result::kOk;
    std::unique_lock guard(lock_);
    for (;;) {
        if (ended_) return vek::result::kNotReady;
        if (!idle_.empty()) {
            lane = std::move(idle_.back());
            idle_.pop_back();
            ++taken_;
            return vek::result::kOk;
        }
        if (vek::Succeeded(opened) && taken_ < kMaxLanes) {
            ++taken_;
            guard.unlock();
            try {
                opened = open(lane);
            } catch (...) {
                opened = vek::CurrentExceptionResult();
            }
            if (vek::Succeeded(opened)) return opened;
            guard.lock();
            --taken_;
            changed_.notify_all();
            continue;
        }
        if (vek::Failed(opened) && taken_ == 0) return opened;
        changed_.wait(guard);
    }
}

bool LanePool::GiveBack(const lane_ptr_t& lane) noexcept {
    bool kept = false;
    {
        const std::lock_guard guard(lock_);
        --taken_;
        kept = !ended_ && idle_.size() < kMaxIdle;
        if (kept) idle_.push_back(lane);
    }
    changed_.notify_one();
    return kept;
}

void LanePool::End() noexcept {
    {
        const std::lock_guard guard(lock_);
        ended_ = true;
        idle_.clear();
    }
    changed_.notify_all();
}

}  // namespace remote
