#include "sandbox/demo/scenario/scenario_run.h"

#include <algorithm>
#include <iomanip>

#include "sandbox/demo/scenario/random_events.h"
#include "sandbox/demo/scenario/resident_memory.h"
#include "sandbox/demo/scenario/scenario_table.h"

namespace sandbox::demo {
namespace {

// After so many events everything is looked at, and the messages are deleted.
constexpr std::uint32_t kRound = 50;
// After so many rounds Outlook quits and starts anew.
constexpr std::uint32_t kRoundsOfOneRun = 8;

double Mebibytes(std::uint64_t bytes) { return static_cast<double>(bytes) / (1 << 20); }

// How much memory was in use, on the way.
struct Memory {
    std::uint64_t start = 0;  // when everything was there that is kept
    std::uint64_t middle = 0;
    std::uint64_t end = 0;
};

// Connects without faults: one may be planned for what connecting does, on the background thread
// too, whose end would leave a queue that nobody empties.
void Connect(EventPlayer& player) {
    player.host().Run([&] { player.host().plan().Clear(); });
    outlook::FaultPlan& faults = player.mapi().faults();
    faults.Clear();
    // Both threads initialise MAPI.
    const std::uint32_t done = faults.Count(outlook::Call::kInitialize) + 2;
    player.Connect();
    for (int waited = 0; faults.Count(outlook::Call::kInitialize) < done && waited < 10'000;
         ++waited)
        player.Pause(std::chrono::milliseconds(1));
}

}  // namespace

bool RunSoak(EventPlayer& player, const SoakOptions& soak, std::ostream& out) {
    Memory memory;
    Totals totals;
    bool good = true;
    RandomEvents random(soak.seed, player.shelf().names());
    Connect(player);
    std::uint32_t rounds = 0;
    for (std::uint32_t played = 0; played < soak.events;) {
        const std::uint32_t end = std::min(played + kRound, soak.events);
        for (; played < end; ++played) {
            player.Play(random.Next(player.mailbox()));
            // Settings are asked for once a second.
            player.Advance(random.Below(2000));
        }
        if (!player.WaitIdle()) out << "WRONG: the queue did not become empty\n", good = false;
        const bool restart = ++rounds % kRoundsOfOneRun == 0;
        if (restart) player.Quit();
        for (const Row& row : player.rows().rows()) totals.Add(row);
        player.Inspect(true);
        player.rows().Clear();
        if (restart) Connect(player);
        const std::uint64_t resident = ResidentMemory();
        if (memory.start == 0 || played <= soak.events / 10) memory.start = resident;
        if (played <= soak.events / 2) memory.middle = resident;
        memory.end = resident;
    }
    player.Quit();
    if (player.MustGiveBack()) good &= PrintLeftovers(out, player.leftovers());
    for (const std::string& trouble : player.troubles()) out << "WRONG: " << trouble << '\n';
    good &= player.troubles().empty();
    out << "planned failures that happened: " << player.host().plan().Failed().size()
        << " of the object model, " << player.mapi().faults().Failed().size()
        << " of MAPI; damaged: " << player.damaged() << " messages\n";
    Print(out, totals);
    out << std::fixed << std::setprecision(1)
        << "memory after a tenth of the events, half of them, all: " << Mebibytes(memory.start)
        << ", " << Mebibytes(memory.middle) << ", " << Mebibytes(memory.end) << " MiB\n";
    return good;
}

}  // namespace sandbox::demo
