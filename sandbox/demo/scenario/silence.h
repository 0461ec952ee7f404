#pragma once

#include <array>
#include <chrono>
#include <string>
#include <vector>

#include "sandbox/demo/scenario/player.h"

namespace sandbox::demo {

// The events in which a product is made to fall silent.
inline constexpr std::array<const char*, 6> kSilentEvents = {"connect", "open",    "send",
                                                             "deliver", "options", "quit"};

// How long an event has held Outlook's thread.
struct HeldTime {
    std::string event;
    std::chrono::microseconds time;
};

// Plays an event of each kind, `first` before all others, with a product whose process falls silent
// on the way (options.product.first_arguments). Then that process is killed and another started,
// which answers: the last entry, "back", is how long it took until a mail was checked again.
// With "quit" Outlook quits while a mail is checked in the background, and the last is its end.
// Raises std::runtime_error when no mail is ever checked again.
std::vector<HeldTime> MeasureSilence(const PlayerOptions& options, const std::string& first);

}  // namespace sandbox::demo
