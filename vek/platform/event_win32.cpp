#include <windows.h>

#include <array>
#include <new>

#include "vek/platform/handle_win32.h"
#include "vek/platform/native.h"
#include "vek/platform/time_out_win32.h"

namespace vek::platform {
namespace {

system_error_t Outcome(BOOL done) noexcept {
    return done != FALSE ? system_error::kNone : ::GetLastError();
}

class KernelEvent final : public Event {
public:
    explicit KernelEvent(UniqueHandle handle) noexcept : handle_(std::move(handle)) {}

    system_error_t Set() noexcept override { return Outcome(::SetEvent(handle_.get())); }
    system_error_t Reset() noexcept override { return Outcome(::ResetEvent(handle_.get())); }
    std::intptr_t handle() const noexcept override {
        return reinterpret_cast<std::intptr_t>(handle_.get());
    }

private:
    UniqueHandle handle_;
};

}  // namespace

namespace native {

std::unique_ptr<Event> NewEvent(EventKind kind) noexcept {
    UniqueHandle handle(
        ::CreateEventW(nullptr, kind == EventKind::kManualReset ? TRUE : FALSE, FALSE, nullptr));
    if (!handle) return nullptr;
    std::unique_ptr<Event> event(new (std::nothrow) KernelEvent(std::move(handle)));
    if (!event) SetLastError(system_error::kNotEnoughMemory);
    return event;
}

WaitResult WaitAny(std::span<Event* const> events, std::chrono::milliseconds timeout) noexcept {
    static_assert(kMaxWaitEvents == MAXIMUM_WAIT_OBJECTS);
    std::array<HANDLE, kMaxWaitEvents> handles;
    for (std::size_t i = 0; i < events.size(); ++i) {
        handles[i] = reinterpret_cast<HANDLE>(events[i]->handle());
    }
    const DWORD ended = ::WaitForMultipleObjectsEx(
        static_cast<DWORD>(events.size()), handles.data(), FALSE, ToTimeOut(timeout), FALSE);
    if (ended == WAIT_TIMEOUT) return {WaitStatus::kTimeout, 0};
    if (ended == WAIT_FAILED) return {WaitStatus::kFailed, 0};
    if (ended >= WAIT_ABANDONED_0) return {WaitStatus::kAbandoned, ended - WAIT_ABANDONED_0};
    return {WaitStatus::kSignalled, ended - WAIT_OBJECT_0};
}

}  // namespace native
}  // namespace vek::platform
