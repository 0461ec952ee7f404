#pragma once

#include <cstdint>
#include <ostream>
#include <vector>

#include "sandbox/demo/scenario/event.h"
#include "sandbox/demo/scenario/event_player.h"

namespace sandbox::demo {

// Has Outlook load the add-in and plays the events at their times, prints what came of each and the
// totals. Returns whether nothing went wrong: no event raised or could not be played, no message is
// damaged, nothing is left. A check that failed, as when there was no product, is shown and no
// more. Raises std::exception when it cannot begin.
bool RunScenario(EventPlayer& player, const std::vector<ScenarioEvent>& events, std::ostream& out);

struct SoakOptions {
    std::uint32_t events = 10'000;
    std::uint32_t seed = 1;
};

// Plays that many random events with random faults of the object model, of MAPI and of the
// product, with Outlook quitting and starting again meanwhile, and prints the totals. The same seed
// plays the same events. Returns whether nothing went wrong.
bool RunSoak(EventPlayer& player, const SoakOptions& soak, std::ostream& out);

// Prints the leftovers and returns whether there are none.
bool PrintLeftovers(std::ostream& out, const Leftovers& left);

}  // namespace sandbox::demo
