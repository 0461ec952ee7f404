#pragma once

#include <cstdint>
#include <ostream>

#include "sandbox/demo/scenario/player.h"

namespace sandbox::demo {

struct SoakOptions {
    std::uint32_t events = 10'000;
    std::uint32_t seed = 1;
};

// Plays that many random events with random faults of the object model, of MAPI and of the
// product, with Outlook quitting and starting again meanwhile, and prints what it took. The same
// seed plays the same events. Whether nothing went wrong, the trace files kept within their bound.
bool RunSoak(const PlayerOptions& options, const SoakOptions& soak, std::ostream& out);

}  // namespace sandbox::demo
