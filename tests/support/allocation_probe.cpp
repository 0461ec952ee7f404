#include "tests/support/allocation_probe.h"

#include <cstdlib>
#include <new>

namespace {

struct Watch {
    std::size_t count, failing;
};
constinit thread_local Watch watch{0, tests::AllocationProbe::kNone};

void* Allocate(std::size_t size) noexcept {
    if (++watch.count == watch.failing) return nullptr;
    return std::malloc(size != 0 ? size : 1);
}

void* Required(void* block) {
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

}  // namespace

namespace tests {

AllocationProbe::AllocationProbe(std::size_t failing) noexcept { watch = {0, failing}; }
AllocationProbe::~AllocationProbe() { watch.failing = kNone; }
std::size_t AllocationProbe::count() const noexcept { return watch.count; }

}  // namespace tests

// Every form that may meet another of these: a sanitizer's runtime has its own, which do not fit.
// clang-format off
using NoThrow = std::nothrow_t;
void* operator new(std::size_t n) { return Required(Allocate(n)); }
void* operator new[](std::size_t n) { return Required(Allocate(n)); }
void* operator new(std::size_t n, const NoThrow&) noexcept { return Allocate(n); }
void* operator new[](std::size_t n, const NoThrow&) noexcept { return Allocate(n); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const NoThrow&) noexcept { std::free(p); }
void operator delete[](void* p, const NoThrow&) noexcept { std::free(p); }
// clang-format on
