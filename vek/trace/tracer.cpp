#include "vek/trace/tracer.h"

#include <mutex>
#include <utility>

#include "vek/platform/lock.h"

namespace vek::trace {
namespace {

platform::Lock process_tracer_mutex;
TracerPtr process_tracer;

}  // namespace

TracerPtr ProcessTracer() noexcept {
    const std::lock_guard lock(process_tracer_mutex);
    return process_tracer;
}

void SetProcessTracer(TracerPtr tracer) noexcept {
    // The one replaced is released after the lock: its end writes a file.
    const std::lock_guard lock(process_tracer_mutex);
    process_tracer.swap(tracer);
}

}  // namespace vek::trace
