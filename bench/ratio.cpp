#include "bench/ratio.h"

#include <benchmark/benchmark.h>

#include <algorithm>
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
                seconds_[run.run_name.str()].push_back(seconds /
                                                       static_cast<double>(run.iterations));
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // The median of the repetitions; 0 when there is none.
    double SecondsOf(const std::string& name) const {
        const auto found = seconds_.find(name);
        if (found == seconds_.end()) return 0;
        std::vector<double> sorted = found->second;
        std::sort(sorted.begin(), sorted.end());
        const std::size_t middle = sorted.size() / 2;
        return sorted.size() % 2 != 0 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
    }

private:
    std::map<std::string, std::vector<double>> seconds_;
};

bool Print(const Entry& entry, const Reporter& reporter) {
    const double operation = reporter.SecondsOf(entry.operation);
    const double floor = reporter.SecondsOf(entry.floor);
    if (operation <= 0 || floor <= 0) {
        std::printf("ratio  not measured             %s\n", entry.title.c_str());
        return false;
    }
    const double ratio = operation / floor;
    const bool within = ratio <= entry.budget;
    std::printf("ratio %6.2f  budget %5.2f  %-4s  %s (%.0f ns to %.0f ns)\n", ratio, entry.budget,
                within ? "ok" : "OVER", entry.title.c_str(), operation * 1e9, floor * 1e9);
    return within;
}

}  // namespace

Ratio::Ratio(std::string title, std::string operation, std::string floor, double budget) {
    Entries().push_back({std::move(title), std::move(operation), std::move(floor), budget});
}

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
