#include <windows.h>

#include <array>
#include <new>

#include "vek/platform/handle_win32.h"
#include "vek/platform/kernel_event_win32.h"
#include "vek/platform/native.h"

namespace vek::platform {
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
