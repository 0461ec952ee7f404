#include "vek/remoting/call_frame.h"

#include <new>

#include "vek/platform/thread_value.h"

namespace vek::remoting {
namespace {

platform::ThreadValue<CallFrame*> innermost;

}  // namespace

CallFrame::CallFrame(ReleaseQueue& queue, std::uint32_t call_id) noexcept
    : queue_(queue), call_id_(call_id), outer_(innermost.Exchange(this)) {}

CallFrame::~CallFrame() {
    innermost.Set(outer_);
    if (!released_.empty()) queue_.PutBack(std::move(released_));
}

CallFrame* CallFrame::Current(const ReleaseQueue& queue) noexcept {
    for (CallFrame* frame = innermost.Get(); frame != nullptr; frame = frame->outer_) {
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
