#pragma once

#include <atomic>
#include <mutex>
#include <new>
#include <span>
#include <utility>

#include "vek/platform/lock.h"
#include "vek/remoting/call.h"
#include "vek/trace/line.h"
#include "vek/trace/tracer.h"

namespace vek::remoting {

// Handles of proxies that have died, until the peer is told with the next message of the
// connection. Operations may be called from any thread; the lock is held for none but the queue.
class ReleaseQueue {
public:
    explicit ReleaseQueue(trace::TracerPtr tracer) noexcept : tracer_(std::move(tracer)) {}

    // Handles that there is no memory for stay with the peer until the connection ends; those that
    // come after Close are dropped.
    void Add(std::span<const stub_handle_t> handles) noexcept {
        try {
            const std::lock_guard guard(lock_);
            if (closed_) return;
            handles_.insert(handles_.end(), handles.begin(), handles.end());
            waiting_ = !handles_.empty();
        } catch (const std::bad_alloc&) {
            trace::WriteCurrentException(tracer_);
        }
    }

    // The same for handles that were taken and did not get away. Needs memory only when others have
    // been added meanwhile.
    void PutBack(released_t handles) noexcept {
        {
            const std::lock_guard guard(lock_);
            if (!closed_ && handles_.empty()) {
                handles_.swap(handles);
                waiting_ = !handles_.empty();
                return;
            }
        }
        Add(handles);
    }

    // Moves the handles that wait to the end of `handles`. Raises std::bad_alloc, and then they
    // still wait.
    void MoveTo(released_t& handles) {
        if (!waiting_) return;
        const std::lock_guard guard(lock_);
        handles.insert(handles.end(), handles_.begin(), handles_.end());
        handles_.clear();
        waiting_ = false;
    }

    // Gives the handles that wait and forgets them.
    released_t TakeAll() noexcept {
        if (!waiting_) return {};
        const std::lock_guard guard(lock_);
        waiting_ = false;
        return std::exchange(handles_, {});
    }

    // The connection has ended, and the peer's stubs with it.
    void Close() noexcept {
        const std::lock_guard guard(lock_);
        closed_ = true;
        waiting_ = false;
        handles_.clear();
    }

private:
    const trace::TracerPtr tracer_;
    std::atomic<bool> waiting_{false};  // whether there are handles: most messages find none
    platform::Lock lock_;               // guards what follows, and every change of the above
    released_t handles_;
    bool closed_ = false;
};

}  // namespace vek::remoting
