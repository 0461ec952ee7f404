#include "vek/remoting/call_frame.h"

#include <new>

namespace vek::remoting {
namespace {

thread_local CallFrame* innermost = nullptr;

}  // namespace

CallFrame::CallFrame(ReleaseQueue& queue, std::uint32_t call_id) noexcept
    : queue_(queue), call_id_(call_id), outer_(innermost) {
    innermost = this;
}

CallFrame::~CallFrame() {
    innermost = outer_;
    if (!released_.empty()) queue_.PutBack(std::move(released_));
}

CallFrame* CallFrame::Current(const ReleaseQueue& queue) noexcept {
    for (CallFrame* frame = innermost; frame != nullptr; frame = frame->outer_) {
        if (&frame->queue_ == &queue && !frame->answered_) return frame;
    }
    return nullptr;
}

bool CallFrame::Release(stub_handle_t handle) noexcept {
    try {
        released_.push_back(handle);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void CallFrame::AddFromQueue() { queue_.MoveTo(released_); }

}  // namespace vek::remoting
