#include "vek/remoting/serving.h"

#include <new>

#include "vek/remoting/connection.h"

namespace vek::remoting {
namespace {

thread_local ServingFrame* innermost = nullptr;

}  // namespace

ServingFrame::ServingFrame(Connection& connection, std::uint32_t call_id) noexcept
    : connection_(connection), call_id_(call_id), outer_(innermost) {
    innermost = this;
}

ServingFrame::~ServingFrame() {
    innermost = outer_;
    connection_.ReleaseLater(released_);
}

ServingFrame* ServingFrame::Current(const Connection& connection) noexcept {
    for (ServingFrame* frame = innermost; frame != nullptr; frame = frame->outer_) {
        if (&frame->connection_ == &connection && !frame->answered_) return frame;
    }
    return nullptr;
}

bool ServingFrame::Release(stub_handle_t handle) noexcept {
    try {
        released_.push_back(handle);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace vek::remoting
