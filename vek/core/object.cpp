#include "vek/core/object.h"

namespace vek {
namespace {

std::atomic<std::uint32_t> live_objects{0};

}  // namespace

std::uint32_t LiveObjectCount() noexcept { return live_objects.load(std::memory_order_acquire); }

LiveObjectMark::LiveObjectMark() noexcept { live_objects.fetch_add(1, std::memory_order_relaxed); }

LiveObjectMark::~LiveObjectMark() { live_objects.fetch_sub(1, std::memory_order_release); }

}  // namespace vek
