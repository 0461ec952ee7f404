#include <array>
#include <cstddef>

#include "vek/platform/module_win32.h"
#include "vek/platform/thread_value.h"

namespace vek::platform {
namespace {

// Filled while the module is loaded, on one thread.
constinit std::array<DWORD, 16> slots{};
constinit std::size_t slot_count = 0;

const UnloadStep free_slots([]() noexcept {
    for (std::size_t i = 0; i < slot_count; ++i) ::TlsFree(slots[i]);
});

DWORD TakeSlot() noexcept {
    const DWORD slot = ::TlsAlloc();
    if (slot_count < slots.size()) slots[slot_count++] = slot;
    return slot;
}

}  // namespace

ThreadSlot::ThreadSlot() noexcept : index_(TakeSlot()) {}

void* ThreadSlot::Get() const noexcept {
    const DWORD error = ::GetLastError();  // which a success takes away
    void* const value = ::TlsGetValue(index_);
    ::SetLastError(error);
    return value;
}

void ThreadSlot::Set(void* value) noexcept { ::TlsSetValue(index_, value); }

}  // namespace vek::platform
