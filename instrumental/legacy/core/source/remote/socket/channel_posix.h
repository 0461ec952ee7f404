#pragma once

// A channel is a connected socket on which one of two processes calls the other. There is one
// thread at each end and at any time it is the turn of one of them, so that neither needs a lock or
// a thread in between: a call costs what its bytes cost. While one end waits for a reply, the other
// may make calls of its own, which are served within.

#include <atomic>
#include <condition_variable>
#include <memory>
#include <vector>

#include "vek/core/function_ref.h"
#include "vek/core/result.h"
#include "vek/platform/descriptor_posix.h"
#include "vek/platform/lock.h"

namespace remote {

// A process takes in at most this many channels of a peer, and opens no more.
inline constexpr std::size_t kMaxChannels = 128;

// This process's end of a channel.
class SocketChannel {
public:
    explicit SocketChannel(vek::platform::Descriptor socket) noexcept
        : socket_(std::move(socket)) {}

    int socket() const noexcept { return socket_.get(); }

    // Whether it is the pool's first; said once, before others know the channel.
    bool is_first() const noexcept { return is_first_; }
    void set_first() noexcept { is_first_ = true; }

    // Whoever waits at either end is told that the channel has ended. Any thread.
    void End() noexcept;

private:
    const vek::platform::Descriptor socket_;
    bool is_first_ = false;
};

using channel_ptr_t = std::shared_ptr<SocketChannel>;

// The channels of one direction, so that they can be ended together. Any thread.
class ChannelSet {
public:
    // False when there are kMaxChannels or the set has been ended.
    bool Add(const channel_ptr_t& channel);
    void Remove(const channel_ptr_t& channel) noexcept;
    void End() noexcept;

private:
    vek::platform::Lock lock_;
    std::vector<channel_ptr_t> channels_;
    bool ended_ = false;
};

// The channels on which this process calls. Any thread. The first is passed on without the lock:
// most of the time one thread calls, and it is the only one.
class ChannelPool {
public:
    ChannelPool() { idle_.reserve(kMaxIdle); }

    // Opens one more. Called without a lock, by several threads at once.
    using opener_t = vek::FunctionRef<vek::result_t(channel_ptr_t& channel)>;

    // Gives a channel that nobody else uses: an idle one, or else a new one; waits for one to
    // become idle when no more can be opened. kNotReady once ended, the opener's code when there is
    // none to wait for.
    vek::result_t Take(opener_t open, channel_ptr_t& channel);

    // Gives back what Take gave. False when the pool does not keep it, and leaves it: there are
    // more idle ones than are worth their threads.
    bool GiveBack(channel_ptr_t& channel) noexcept;

    // Nobody waits any more.
    void End() noexcept;

private:
    // A channel that waits for its next call costs a thread in the peer.
    static constexpr std::size_t kMaxIdle = 8;

    enum class First { kNone, kIdle, kTaken };

    bool TakeFirst(channel_ptr_t& channel) noexcept;
    void GiveBackFirst(channel_ptr_t channel) noexcept;
    vek::result_t TakeOther(opener_t open, channel_ptr_t& channel);
    // Lets the first go unless it is taken: whoever gives it back does it then.
    void DropFirst() noexcept;

    std::atomic<First> first_state_{First::kNone};
    channel_ptr_t first_;  // here while it is idle, and whoever takes it may touch it
    std::atomic<std::size_t> waiting_{0};  // for a channel, with the lock

    vek::platform::Lock lock_;
    std::condition_variable_any changed_;
    std::vector<channel_ptr_t> idle_;
    std::size_t taken_ = 0;  // those being opened too, the first apart
    std::atomic<bool> ended_{false};
};

}  // namespace remote
