#include "bench/ratio.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <utility>
#include <vector>

namespace bench {
namespace {

struct Entry {
    std::string title;
    std::string operation;
    std::string floor;
    double budget;
};

std::vector<Entry>& Entries() {
    static std::vector<Entry> entries;
    return entries;
}

bool IsOfWallClock(const std::string& time_type) {
    return time_type.find("real_time") != std::string::npos || time_type == "manual_time";
}

class Reporter : public benchmark::ConsoleReporter {
public:
    Reporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred && run.iterations > 0) {
                const double seconds = IsOfWallClock(run.run_name.time_type)
                                           ? run.real_accumulated_time
                                           : run.cpu_accumulated_time;
                const std::string name = run.run_name.str();
                const double once = seconds / static_cast<double>(run.iterations);
                seconds_[name].push_back(once);
                std::string& note = notes_[name];
                note.clear();
                for (const auto& [counter, value] : run.counters) {
                    if (counter == Ratio::kFloor) continue;
                    note += ", " + counter + " " + std::to_string(std::llround(value));
                }
                const auto floor = run.counters.find(Ratio::kFloor);
                if (floor != run.counters.end() && floor->second > 0) {
                    floors_[name].push_back(floor->second);
                    ratios_[name].push_back(once / floor->second);
                }
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    double SecondsOf(const std::string& name) const { return MedianOf(seconds_, name); }
    double FloorOf(const std::string& name) const { return MedianOf(floors_, name); }
    double RatioOf(const std::string& name) const { return MedianOf(ratios_, name); }
    std::string NoteOn(const std::string& name) const {
        const auto found = notes_.find(name);
        return found == notes_.end() ? std::string() : found->second;
    }

private:
    using Measured = std::map<std::string, std::vector<double>>;

    // The median of the repetitions; 0 when there is none.
    static double MedianOf(const Measured& measured, const std::string& name) {
        const auto found = measured.find(name);
        if (found == measured.end()) return 0;
        std::vector<double> sorted = found->second;
        std::sort(sorted.begin(), sorted.end());
        const std::size_t middle = sorted.size() / 2;
        return sorted.size() % 2 != 0 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
    }

    Measured seconds_;
    Measured floors_;  // of operations that measure them
    Measured ratios_;
    std::map<std::string, std::string> notes_;
};

bool Print(const Entry& entry, const Reporter& reporter) {
    const double operation = reporter.SecondsOf(entry.operation);
    const bool has_own = entry.floor.empty();
    const double floor =
        has_own ? reporter.FloorOf(entry.operation) : reporter.SecondsOf(entry.floor);
    if (operation <= 0 || floor <= 0) {
        std::printf("ratio  not measured             %s\n", entry.title.c_str());
        return false;
    }
    const double ratio = has_own ? reporter.RatioOf(entry.operation) : operation / floor;
    const bool within = ratio <= entry.budget;
    std::printf("ratio %6.2f  budget %5.2f  %-4s  %s (%.0f ns to %.0f ns%s)\n", ratio, entry.budget,
                within ? "ok" : "OVER", entry.title.c_str(), operation * 1e9, floor * 1e9,
                reporter.NoteOn(entry.operation).c_str());
    return within;
}

}  // namespace

Ratio::Ratio(std::string title, std::string operation, std::string floor, double budget) {
    Entries().push_back({std::move(title), std::move(operation), std::move(floor), budget});
}

Ratio::Ratio(std::string title, std::string operation, double budget)
    : Ratio(std::move(title), std::move(operation), {}, budget) {}

}  // namespace bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    bench::Reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    bool within = true;
    for (const bench::Entry& entry : bench::Entries()) {
        within = bench::Print(entry, reporter) && within;
    }
    return within ? 0 : 1;
}
