#pragma once

// Benchmarks that are judged by a ratio: the time of an operation to the time of its floor, the
// least that any implementation must do, both measured in one run.
//
//     void PlainCopy(benchmark::State& state);
//     void BuildAndParse(benchmark::State& state);
//     BENCHMARK(PlainCopy);
//     BENCHMARK(BuildAndParse);
//     const bench::Ratio kPacket("packet, 1 MiB", "BuildAndParse", "PlainCopy", 1.3);
// The time is the processor time of the thread, so that others may be at work on the machine, or
// what the benchmark says it is to be: MeasureProcessCPUTime where threads work together (on one
// processor, one_processor.h), UseRealTime, UseManualTime.
//
// After the run each ratio is printed on a line of its own that begins with "ratio". The
// program's exit code is 1 when a ratio is over its budget or could not be measured.

#include <string>

namespace bench {

struct Ratio {
    // The names of the operation and the floor are those that Google Benchmark prints. Made before
    // main() runs; the ratio is registered for the life of the program.
    Ratio(std::string title, std::string operation, std::string floor, double budget);

    // For an operation that measures its floor itself, taking turns with it: the seconds of the
    // floor are its counter kFloor, to be compared with the time that it says. Its other counters
    // are printed with the ratio.
    Ratio(std::string title, std::string operation, double budget);
    static constexpr const char* kFloor = "floor";
};

}  // namespace bench
