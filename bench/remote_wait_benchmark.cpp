// How long a whole call of an object in another process is waited for, each process on a processor
// of its own, against the bare exchange of the same bytes. remote_call_benchmark has the work of
// both without the waiting, which is what there is to be improved.

#include <benchmark/benchmark.h>

#include <array>

#include "bench/echo.h"
#include "bench/other_process.h"
#include "bench/ratio.h"

namespace {

constexpr std::uint32_t kBytes = 64;
constexpr int kCalls = 200;  // timed together

const remote::Endpoint kEndpoint = bench::OwnEndpoint();
const bench::OtherProcess kOther(
    [] { bench::Serve(kEndpoint, bench::EchoFactories(), vek::MakeObject<bench::EchoService>()); },
    bench::OtherProcess::Placement::kApart);

void RemoteWait(benchmark::State& state) {
    const bench::Client client(kEndpoint, bench::EchoFactories());
    const auto echo = client.Service<bench::IEcho>();
    const std::array<std::byte, kBytes> bytes{};
    std::array<std::byte, kBytes> same;
    bench::BareRounds rounds(kOther, 0,
                             {kBytes + bench::kAroundRequest, kBytes + bench::kAroundReply});
    const auto times = [](auto once) {
        return [once]() mutable {
            for (int i = 0; i < kCalls; ++i) {
                if (!once()) return false;
            }
            return true;
        };
    };
    const auto call = [&] {
        std::uint32_t count = 0;
        return echo && vek::Succeeded(echo->Echo(bytes, same, count)) && count == kBytes;
    };
    bench::MeasureInTurns(state, kOther, times(call), times([&rounds] { return rounds.Next(); }));
}
BENCHMARK(RemoteWait)->UseManualTime();

const bench::Ratio kWait("waiting for 5000 remote calls of 64 B, to bare ping-pongs",
                         "RemoteWait/manual_time", 1.15);

}  // namespace
