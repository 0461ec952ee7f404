#include <array>
#include <atomic>

#include "vek/platform/thread_value.h"

namespace vek::platform {
namespace {

constexpr std::uint32_t kSlots = 16;

constinit std::atomic<std::uint32_t> slots_taken{0};
thread_local constinit std::array<void*, kSlots> slot_values{};

}  // namespace

ThreadSlot::ThreadSlot() noexcept : index_(slots_taken++ % kSlots) {}

void* ThreadSlot::Get() const noexcept { return slot_values[index_]; }

void ThreadSlot::Set(void* value) noexcept { slot_values[index_] = value; }

}  // namespace vek::platform
