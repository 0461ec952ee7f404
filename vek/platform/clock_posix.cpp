#include <ctime>

#include "vek/platform/clock.h"

#include "vek/core/never_destroyed.h"

namespace vek::platform {
namespace {

class SystemClock final : public Clock {
public:
    std::uint32_t TickCount() noexcept override {
        // Counts on while the system sleeps, as Windows' does.
        const timespec now = Read(CLOCK_BOOTTIME);
        return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 1000 +
                                          static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000);
    }

    filetime_t UtcNow() noexcept override {
        const timespec now = Read(CLOCK_REALTIME);
        return kUnixEpoch + static_cast<std::uint64_t>(now.tv_sec) * 10'000'000 +
               static_cast<std::uint64_t>(now.tv_nsec) / 100;
    }

    std::int32_t UtcOffsetMinutes() noexcept override {
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        if (::localtime_r(&now, &local) == nullptr) return 0;
        return static_cast<std::int32_t>(local.tm_gmtoff / 60);
    }

private:
    static timespec Read(clockid_t id) noexcept {
        timespec now{};
        ::clock_gettime(id, &now);
        return now;
    }
};

}  // namespace

std::chrono::milliseconds Clock::AwakeTime() noexcept {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::milliseconds(now.tv_nsec / 1'000'000);
}

Clock& TheClock() noexcept {
    // Never destroyed: what lives until the process ends may use it to the last.
    static NeverDestroyed<SystemClock> clock;
    return *clock;
}

}  // namespace vek::platform
