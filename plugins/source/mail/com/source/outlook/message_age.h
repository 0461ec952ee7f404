#pragma once

#include <cstdint>

#include "object_model/object_model.h"
#include "vek/platform/clock.h"

namespace plugins::mail_processing {

// A message younger than this was just created.
inline constexpr std::int64_t kJustCreatedSeconds = 2;

// The clock's local time, in whole seconds.
ole_date_t LocalOleDate(vek::platform::Clock& clock) noexcept;

// Whole seconds from one time to another, to the nearest; halves go away from zero. Negative when
// `now` is before `created`. What no integer can hold gives the nearest that one can; no number at
// all gives the greatest.
std::int64_t AgeInSeconds(ole_date_t created, ole_date_t now) noexcept;

}  // namespace plugins::mail_processing
