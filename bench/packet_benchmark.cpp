// Measures building and parsing a packet against one plain copy of its call data into an equally
// fresh buffer.

#include <benchmark/benchmark.h>

#include <cstring>
#include <utility>
#include <vector>

#include "bench/ratio.h"
#include "remote/packet/packet_buffer.h"
#include "remote/packet/rpc_protocol_processor_in.h"
#include "remote/packet/rpc_protocol_processor_out.h"

namespace {

using remote::bytes_t;
using remote::PacketBuffer;
using remote::RpcProtocolProcessorIn;
using remote::RpcProtocolProcessorOut;

std::vector<std::byte> CallData(const benchmark::State& state) {
    return std::vector<std::byte>(static_cast<std::size_t>(state.range(0)), std::byte{0x5A});
}

PacketBuffer Copy(bytes_t bytes) {
    PacketBuffer copy = PacketBuffer::Allocate(bytes.size());
    std::memcpy(copy.data(), bytes.data(), bytes.size());
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
    return copy;
}

PacketBuffer Build(bytes_t call_data) {
    RpcProtocolProcessorOut out;
    out.SetCallIdentification(2, 1);
    out.SetCallData({&call_data, 1});
    PacketBuffer packet = PacketBuffer::Allocate(out.PacketSize());
    if (vek::Failed(out.ConstructPacket(packet.span()))) return {};
    benchmark::DoNotOptimize(packet.data());
    benchmark::ClobberMemory();
    return packet;
}

void PlainCopy(benchmark::State& state) {
    const auto data = CallData(state);
    for ([[maybe_unused]] const auto _ : state) benchmark::DoNotOptimize(Copy(data).data());
}

void BuildPacket(benchmark::State& state) {
    const auto data = CallData(state);
    for ([[maybe_unused]] const auto _ : state) {
        if (!Build(data)) return state.SkipWithError("the packet was not built");
    }
}

void ParsePacket(benchmark::State& state) {
    const auto data = CallData(state);
    const PacketBuffer packet = Build(data);
    for ([[maybe_unused]] const auto _ : state) {
        RpcProtocolProcessorIn in;
        if (vek::Failed(in.ParsePacket(packet.span())) || in.GetCallData().size() != data.size()) {
            return state.SkipWithError("the packet was not parsed");
        }
        benchmark::DoNotOptimize(in.GetCallData().data());
        benchmark::ClobberMemory();
    }
}

// A packet's buffer is used up by it, so the copy that fills one is part of this.
void ParsePacketInPlace(benchmark::State& state) {
    const auto data = CallData(state);
    const PacketBuffer packet = Build(data);
    for ([[maybe_unused]] const auto _ : state) {
        RpcProtocolProcessorIn in;
        if (vek::Failed(in.ParsePacket(Copy(packet.span()))) ||
            in.GetCallData().size() != data.size()) {
            return state.SkipWithError("the packet was not parsed");
        }
        benchmark::DoNotOptimize(in.GetCallData().data());
    }
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    for (const std::int64_t size : {64, 64 << 10, 1 << 20, 64 << 20}) benchmark->Arg(size);
}
BENCHMARK(PlainCopy)->Apply(Sizes);
BENCHMARK(BuildPacket)->Apply(Sizes);
BENCHMARK(ParsePacket)->Apply(Sizes);
BENCHMARK(ParsePacketInPlace)->Apply(Sizes);

struct PacketRatios {
    PacketRatios(const std::string& size, const std::string& argument, double small_budget,
                 double in_place_budget) {
        const std::string floor = "PlainCopy/" + argument;
        bench::Ratio(size + " of call data built into a packet, to a copy",
                     "BuildPacket/" + argument, floor, small_budget);
        bench::Ratio(size + " of call data parsed out of a packet, to a copy",
                     "ParsePacket/" + argument, floor, small_budget);
        bench::Ratio(size + " of call data copied and parsed in place, to a copy",
                     "ParsePacketInPlace/" + argument, floor, in_place_budget);
    }
};

// 64 bytes are copied in less time than it takes to look at four fields.
const PacketRatios kSmall("64 B", "64", 4, 4);
const PacketRatios kMiddle("64 KiB", "65536", 1.3, 1.3);
const PacketRatios kLarge("1 MiB", "1048576", 1.3, 1.2);
const PacketRatios kLargest("64 MiB", "67108864", 1.3, 1.2);

}  // namespace
