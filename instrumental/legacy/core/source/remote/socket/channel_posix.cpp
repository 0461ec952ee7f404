#include "remote/socket/channel_posix.h"

#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "vek/core/border.h"

namespace remote {

void SocketChannel::End() noexcept { ::shutdown(socket_.get(), SHUT_RDWR); }

bool ChannelSet::Add(const channel_ptr_t& channel) {
    const std::lock_guard guard(lock_);
    if (ended_ || channels_.size() >= kMaxChannels) return false;
    channels_.push_back(channel);
    return true;
}

void ChannelSet::Remove(const channel_ptr_t& channel) noexcept {
    const std::lock_guard guard(lock_);
    std::erase(channels_, channel);
}

void ChannelSet::End() noexcept {
    const std::lock_guard guard(lock_);
    ended_ = true;
    for (const channel_ptr_t& channel : channels_) channel->End();
    channels_.clear();
}

bool ChannelPool::TakeFirst(channel_ptr_t& channel) noexcept {
    auto idle = First::kIdle;
    if (!first_state_.compare_exchange_strong(idle, First::kTaken)) return false;
    channel = std::move(first_);
    return true;
}

void ChannelPool::GiveBackFirst(channel_ptr_t channel) noexcept {
    first_ = std::move(channel);
    first_state_ = First::kIdle;
    if (waiting_ != 0) {
        const std::lock_guard guard(lock_);
        changed_.notify_one();
    }
    if (ended_) DropFirst();
}

void ChannelPool::DropFirst() noexcept {
    channel_ptr_t gone;
    if (TakeFirst(gone)) first_state_ = First::kNone;
}

vek::result_t ChannelPool::Take(opener_t open, channel_ptr_t& channel) {
    return TakeFirst(channel) ? vek::result::kOk : TakeOther(open, channel);
}

vek::result_t ChannelPool::TakeOther(opener_t open, channel_ptr_t& channel) {
    vek::result_t opened = vek::result::kOk;
    std::unique_lock guard(lock_);
    for (;;) {
        if (ended_) return vek::result::kNotReady;
        if (!idle_.empty()) {
            channel = std::move(idle_.back());
            idle_.pop_back();
            ++taken_;
            return vek::result::kOk;
        }
        if (vek::Succeeded(opened) && taken_ + 1 < kMaxChannels) {
            ++taken_;
            guard.unlock();
            opened = vek::AtBorder([&] { return open(channel); });
            guard.lock();
            if (vek::Succeeded(opened)) {
                if (first_state_ == First::kNone && !ended_) {
                    channel->set_first();
                    first_state_ = First::kTaken;
                    --taken_;
                }
                return opened;
            }
            --taken_;
            changed_.notify_all();
            continue;
        }
        ++waiting_;  // before it is looked for the first: whoever gives it back looks for this next
        const bool took_first = TakeFirst(channel);
        const bool none = vek::Failed(opened) && taken_ == 0 && first_state_ == First::kNone;
        if (!took_first && !none) changed_.wait(guard);
        --waiting_;
        if (took_first) return vek::result::kOk;
        if (none) return opened;
    }
}

bool ChannelPool::GiveBack(channel_ptr_t& channel) noexcept {
    if (channel->is_first()) {
        GiveBackFirst(std::move(channel));
        return true;
    }
    bool kept = false;
    {
        const std::lock_guard guard(lock_);
        --taken_;
        kept = !ended_ && idle_.size() < kMaxIdle;
        if (kept) idle_.push_back(std::move(channel));
        changed_.notify_one();
    }
    return kept;
}

void ChannelPool::End() noexcept {
    {
        const std::lock_guard guard(lock_);
        ended_ = true;
        idle_.clear();
    }
    DropFirst();
    const std::lock_guard guard(lock_);
    changed_.notify_all();
}

}  // namespace remote
