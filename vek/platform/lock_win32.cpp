#include "vek/platform/lock.h"

#include <windows.h>

#include <new>

namespace vek::platform {
namespace {

SRWLOCK* NativeOf(std::byte* place) noexcept {
    return std::launder(reinterpret_cast<SRWLOCK*>(place));
}

}  // namespace

Mutex::Mutex() noexcept {
    static_assert(sizeof(SRWLOCK) <= sizeof native_);
    ::new (static_cast<void*>(native_)) SRWLOCK SRWLOCK_INIT;
}

Mutex::~Mutex() = default;  // the system has nothing to give back

void Mutex::lock() noexcept { ::AcquireSRWLockExclusive(NativeOf(native_)); }

void Mutex::unlock() noexcept { ::ReleaseSRWLockExclusive(NativeOf(native_)); }

}  // namespace vek::platform
