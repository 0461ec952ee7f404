#pragma once

#include "vek/platform/event.h"
#include "vek/platform/handle_win32.h"

namespace vek::platform {

// An Event over a handle of the kernel's.
class KernelEvent final : public Event {
public:
    explicit KernelEvent(UniqueHandle handle) noexcept : handle_(std::move(handle)) {}

    system_error_t Set() noexcept override { return Outcome(::SetEvent(handle_.get())); }
    system_error_t Reset() noexcept override { return Outcome(::ResetEvent(handle_.get())); }
    std::intptr_t handle() const noexcept override {
        return reinterpret_cast<std::intptr_t>(handle_.get());
    }

private:
    static system_error_t Outcome(BOOL done) noexcept {
        return done != FALSE ? system_error::kNone : ::GetLastError();
    }

    UniqueHandle handle_;
};

}  // namespace vek::platform
