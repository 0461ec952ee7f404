#include "remote/socket/channel_posix.h"

#include <sys/socket.h>

#include <algorithm>

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

vek::result_t ChannelPool::Take(opener_t open, channel_ptr_t& channel) {
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
        if (vek::Succeeded(opened) && taken_ < kMaxChannels) {
            ++taken_;
            guard.unlock();
            opened = vek::AtBorder([&] { return open(channel); });
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

bool ChannelPool::GiveBack(const channel_ptr_t& channel) noexcept {
    bool kept = false;
    {
        const std::lock_guard guard(lock_);
        --taken_;
        kept = !ended_ && idle_.size() < kMaxIdle;
        if (kept) idle_.push_back(channel);
    }
    changed_.notify_one();
    return kept;
}

void ChannelPool::End() noexcept {
    {
        const std::lock_guard guard(lock_);
        ended_ = true;
        idle_.clear();
    }
    changed_.notify_all();
}

}  // namespace remote
