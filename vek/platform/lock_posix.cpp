#include "vek/platform/lock.h"

#include <mutex>
#include <new>

namespace vek::platform {
namespace {

std::mutex* NativeOf(std::byte* place) noexcept {
    return std::launder(reinterpret_cast<std::mutex*>(place));
}

}  // namespace

Mutex::Mutex() noexcept {
    static_assert(sizeof(std::mutex) <= sizeof native_);
    ::new (static_cast<void*>(native_)) std::mutex;
}

Mutex::~Mutex() { std::destroy_at(NativeOf(native_)); }

void Mutex::lock() noexcept { NativeOf(native_)->lock(); }

void Mutex::unlock() noexcept { NativeOf(native_)->unlock(); }

}  // namespace vek::platform
