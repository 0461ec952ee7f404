#include "vek/platform/system.h"

#include <utility>

#include "vek/core/never_destroyed.h"
#include "vek/core/object.h"
#include "vek/platform/native.h"

namespace vek::platform {
namespace {

class OperatingSystem final : public System {
public:
    std::unique_ptr<Event> NewEvent(EventKind kind) override { return native::NewEvent(kind); }

    WaitResult WaitAny(std::span<Event* const> events,
                       std::chrono::milliseconds timeout) noexcept override {
        if (events.empty() || events.size() > kMaxWaitEvents) {
            SetLastError(system_error::kInvalidParameter);
            return {WaitStatus::kFailed, 0};
        }
        return native::WaitAny(events, timeout);
    }

    std::unique_ptr<Thread> StartThread(std::function<void()> body) override {
        return native::StartThread(std::move(body));
    }
};

}  // namespace

std::unique_ptr<Thread> StartCountedThread(System& system, std::function<void()> body) {
    // Captured first, so that it goes last.
    auto counted = std::make_shared<LiveObjectMark>();
    return system.StartThread([mark = std::move(counted), run = std::move(body)] { run(); });
}

System& TheSystem() noexcept {
    // Never destroyed: what lives until the process ends may use it to the last.
    static NeverDestroyed<OperatingSystem> system;
    return *system;
}

}  // namespace vek::platform
