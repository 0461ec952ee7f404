// A whole call of an object in another process, by its proxy, against the bare exchange of the same
// bytes that it cannot do without: a blocking ping-pong on the same kind of socket.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/echo.h"
#include "bench/other_process.h"
#include "bench/ratio.h"

namespace {

using bench::IEcho;

struct Size {
    std::uint32_t bytes;
    std::uint32_t calls;  // timed together
};
constexpr std::array<Size, 3> kSizes{{{64, 20}, {4096, 20}, {1u << 20, 1}}};

const remote::Endpoint kEndpoint = bench::OwnEndpoint();
const bench::OtherProcess kOther([] {
    bench::Serve(kEndpoint, bench::EchoFactories(), vek::MakeObject<bench::EchoService>());
});

void RemoteCall(benchmark::State& state) {
    const Size size = kSizes[static_cast<std::size_t>(state.range(0))];
    const bench::Client client(kEndpoint, bench::EchoFactories());
    const auto echo = client.Service<IEcho>();
    const std::vector<std::byte> bytes(size.bytes);
    std::vector<std::byte> same(size.bytes);
    const auto call = [&] {
        std::uint32_t count = 0;
        return echo && vek::Succeeded(echo->Echo(bytes, same, count)) && count == size.bytes;
    };
    bench::BareRounds rounds(
        kOther, 0, {size.bytes + bench::kAroundRequest, size.bytes + bench::kAroundReply});
    const auto times = [&size](auto once) {
        return [&size, once]() mutable {
            for (std::uint32_t i = 0; i < size.calls; ++i) {
                if (!once()) return false;
            }
            return true;
        };
    };
    bench::MeasureInTurns(state, kOther, times(call), times([&rounds] { return rounds.Next(); }));
}
BENCHMARK(RemoteCall)->DenseRange(0, 2)->UseManualTime();

std::string Title(std::size_t index, const char* size) {
    return std::to_string(kSizes[index].calls * bench::kBatches) + " remote calls of " + size +
           ", to bare ping-pongs";
}

const bench::Ratio kSmall(Title(0, "64 B"), "RemoteCall/0/manual_time", 1.15);
const bench::Ratio kMiddle(Title(1, "4 KiB"), "RemoteCall/1/manual_time", 1.3);
const bench::Ratio kLarge(Title(2, "1 MiB"), "RemoteCall/2/manual_time", 1.3);

}  // namespace
