#include "sandbox/demo/scenario/scenario_run.h"

#include "sandbox/demo/scenario/scenario_table.h"

namespace sandbox::demo {

bool PrintLeftovers(std::ostream& out, const Leftovers& left) {
    out << "left behind: " << left.items << " items, " << left.connections << " connections, "
        << left.mapi_objects << " MAPI objects, " << left.mapi_buffers << " MAPI buffers, "
        << left.initializations << " MAPI initialisations\n";
    if (left.bad_frees != 0) out << "MAPI buffers freed twice: " << left.bad_frees << '\n';
    if (left.foreign_calls != 0)
        out << "MAPI calls on a foreign thread: " << left.foreign_calls << '\n';
    if (left.outliving_objects != 0)
        out << "MAPI objects that outlived MAPIUninitialize: " << left.outliving_objects << '\n';
    return left.none();
}

bool RunScenario(EventPlayer& player, const std::vector<ScenarioEvent>& events, std::ostream& out) {
    player.Connect();
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    for (const ScenarioEvent& event : events) {
        if (event.at)
            player.Pause(
                std::chrono::ceil<std::chrono::milliseconds>(start + *event.at - Clock::now()));
        if (event.after) player.Pause(*event.after);
        player.Play(event);
    }
    player.Quit();

    const std::vector<Row> rows = player.rows().rows();
    PrintRows(out, rows, [&](const std::string& entry_id) { return player.Subject(entry_id); });
    Totals totals;
    for (const Row& row : rows) totals.Add(row);
    player.Inspect(false);
    player.StopProduct();
    out << '\n';
    Print(out, totals);
    out << "damaged: " << player.damaged() << " messages\n";
    const bool clean = !player.MustGiveBack() || PrintLeftovers(out, player.leftovers());
    for (const std::string& trouble : player.troubles()) out << "WRONG: " << trouble << '\n';
    return clean && player.troubles().empty();
}

}  // namespace sandbox::demo
