#include "outlook/message_age.h"

#include <cmath>
#include <limits>

namespace plugins::mail_processing {
namespace {

constexpr double kSecondsPerDay = 86'400;
constexpr double kHalfSecond = 0.5 / kSecondsPerDay;

// From 1 January 1601, where FILETIME begins, to 30 December 1899, where DATE does.
constexpr std::int64_t kSecondsBetweenEpochs = 109'205LL * 86'400;
constexpr std::uint64_t kUnitsPerSecond = 10'000'000;

}  // namespace

ole_date_t LocalOleDate(vek::platform::Clock& clock) noexcept {
    const auto seconds = static_cast<std::int64_t>(clock.ToLocal(clock.UtcNow()) / kUnitsPerSecond);
    return static_cast<double>(seconds - kSecondsBetweenEpochs) / kSecondsPerDay;
}

std::int64_t AgeInSeconds(ole_date_t created, ole_date_t now) noexcept {
    using Limits = std::numeric_limits<std::int64_t>;
    const double days = now - created;
    const double seconds = (days + (days < 0 ? -kHalfSecond : kHalfSecond)) * kSecondsPerDay;
    if (std::abs(seconds) < 0x1p63) return static_cast<std::int64_t>(seconds);
    return seconds < 0 ? Limits::min() : Limits::max();
}

}  // namespace plugins::mail_processing
