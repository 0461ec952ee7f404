#include "tests/support/allocation_probe.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

struct Watch {
    std::size_t count;
    std::size_t failing;
};
constinit thread_local Watch watch{0, tests::AllocationProbe::kNone};

void* Allocate(std::size_t size) noexcept {
    if (++watch.count == watch.failing) return nullptr;
    return std::malloc(size != 0 ? size : 1);
}

// The block's own address is kept in front of the aligned one.
void* Allocate(std::size_t size, std::align_val_t alignment) noexcept {
    const auto align = static_cast<std::size_t>(alignment);
    void* const block = Allocate(size + align + sizeof(void*));
    if (block == nullptr) return nullptr;
    const auto start = reinterpret_cast<std::uintptr_t>(block) + sizeof(void*) + align - 1;
    void** const aligned = reinterpret_cast<void**>(start & ~(align - 1));
    aligned[-1] = block;
    return aligned;
}

void* Required(void* block) {
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void Free(void* block) noexcept { std::free(block); }

void FreeAligned(void* aligned) noexcept {
    if (aligned != nullptr) std::free(static_cast<void**>(aligned)[-1]);
}

}  // namespace

namespace tests {

AllocationProbe::AllocationProbe(std::size_t failing) noexcept { watch = {0, failing}; }
AllocationProbe::~AllocationProbe() { watch.failing = kNone; }
std::size_t AllocationProbe::count() const noexcept { return watch.count; }

}  // namespace tests

// clang-format off
// All forms: a sanitizer's runtime has its own of each, which would not fit the others of these.
using Align = std::align_val_t;
using NoThrow = std::nothrow_t;
void* operator new(std::size_t n) { return Required(Allocate(n)); }
void* operator new[](std::size_t n) { return Required(Allocate(n)); }
void* operator new(std::size_t n, Align a) { return Required(Allocate(n, a)); }
void* operator new[](std::size_t n, Align a) { return Required(Allocate(n, a)); }
void* operator new(std::size_t n, const NoThrow&) noexcept { return Allocate(n); }
void* operator new[](std::size_t n, const NoThrow&) noexcept { return Allocate(n); }
void* operator new(std::size_t n, Align a, const NoThrow&) noexcept { return Allocate(n, a); }
void* operator new[](std::size_t n, Align a, const NoThrow&) noexcept { return Allocate(n, a); }
void operator delete(void* p) noexcept { Free(p); }
void operator delete[](void* p) noexcept { Free(p); }
void operator delete(void* p, std::size_t) noexcept { Free(p); }
void operator delete[](void* p, std::size_t) noexcept { Free(p); }
void operator delete(void* p, const NoThrow&) noexcept { Free(p); }
void operator delete[](void* p, const NoThrow&) noexcept { Free(p); }
void operator delete(void* p, Align) noexcept { FreeAligned(p); }
void operator delete[](void* p, Align) noexcept { FreeAligned(p); }
void operator delete(void* p, std::size_t, Align) noexcept { FreeAligned(p); }
void operator delete[](void* p, std::size_t, Align) noexcept { FreeAligned(p); }
void operator delete(void* p, Align, const NoThrow&) noexcept { FreeAligned(p); }
void operator delete[](void* p, Align, const NoThrow&) noexcept { FreeAligned(p); }
// clang-format on
