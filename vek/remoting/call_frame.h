#pragma once

#include <cstdint>
#include <utility>

#include "vek/remoting/call.h"
#include "vek/remoting/release_queue.h"

namespace vek::remoting {

// One request being served on this thread, on its stack. Calls that the thread makes meanwhile are
// its children, and handles that it lets go ride on what it sends next. Used by its thread alone.
class CallFrame {
public:
    // `queue` is that of the connection that the request came over, and must outlive the frame.
    CallFrame(ReleaseQueue& queue, std::uint32_t call_id) noexcept;
    // Handles that were never taken go to the queue.
    ~CallFrame();
    CallFrame(const CallFrame&) = delete;
    CallFrame& operator=(const CallFrame&) = delete;

    // The innermost request of the connection of `queue` that this thread serves and has not
    // answered yet; null when there is none.
    static CallFrame* Current(const ReleaseQueue& queue) noexcept;

    std::uint32_t call_id() const noexcept { return call_id_; }

    // The answer is on its way: nothing can ride on it any more.
    void MarkAnswered() noexcept { answered_ = true; }

    // False when there is no memory to remember it.
    bool Release(stub_handle_t handle) noexcept;
    // Adds the handles that wait in the queue, for the answer to take along. Raises std::bad_alloc.
    void AddFromQueue();

    const released_t& released() const noexcept { return released_; }
    // Gives the handles remembered so far and forgets them.
    released_t TakeReleased() noexcept { return std::exchange(released_, {}); }

private:
    ReleaseQueue& queue_;
    const std::uint32_t call_id_;
    CallFrame* const outer_;
    released_t released_;
    bool answered_ = false;
};

}  // namespace vek::remoting
