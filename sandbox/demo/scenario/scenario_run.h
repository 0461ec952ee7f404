#pragma once

#include <ostream>
#include <vector>

#include "sandbox/demo/scenario/event.h"
#include "sandbox/demo/scenario/player.h"

namespace sandbox::demo {

// Plays the events at their times, prints what came of each and what it was together. Whether
// nothing went wrong: no event raised or could not be played, no message is damaged, nothing is
// left. A check that failed, as when there was no product, is shown and no more. Raises
// std::exception when it cannot begin.
bool RunScenario(const PlayerOptions& options, const std::vector<ScenarioEvent>& events,
                 std::ostream& out);

// Shows the leftovers; whether there are none.
bool PrintLeftovers(std::ostream& out, const Leftovers& left);

}  // namespace sandbox::demo
