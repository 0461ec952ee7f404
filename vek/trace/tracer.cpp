#include "vek/trace/tracer.h"

#include <mutex>
#include <utility>

#include "vek/core/never_destroyed.h"
#include "vek/platform/lock.h"

namespace vek::trace {
namespace {

struct Process {
    platform::Lock lock;
    TracerPtr tracer;
};

Process& TheProcess() noexcept {
    // Never destroyed: threads may trace to the process's very end.
    static NeverDestroyed<Process> process;
    return *process;
}

}  // namespace

TracerPtr ProcessTracer() noexcept {
    Process& process = TheProcess();
    const std::lock_guard lock(process.lock);
    return process.tracer;
}

void SetProcessTracer(TracerPtr tracer) noexcept {
    // The one replaced is released after the lock: its end writes a file.
    Process& process = TheProcess();
    const std::lock_guard lock(process.lock);
    process.tracer.swap(tracer);
}

}  // namespace vek::trace
