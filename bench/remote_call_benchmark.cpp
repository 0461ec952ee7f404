// A whole call of an object in another process, by its proxy, against the bare exchange of the same
// bytes that it cannot do without: a blocking ping-pong on the same kind of socket.

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "bench/other_process.h"
#include "bench/ratio.h"
#include "bench/remote_service.h"
#include "vek/remoting/describe.h"

namespace bench {

struct IEcho : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x10000001;
    // Gives back what it gets.
    virtual vek::result_t Echo(std::span<const std::byte> bytes, std::span<std::byte> same,
                               std::uint32_t& count) noexcept = 0;

protected:
    ~IEcho() = default;
};

}  // namespace bench

namespace vek::remoting {
VEK_REMOTE_INTERFACE(bench::IEcho, (Echo, method_attribute::kReadsOnly))
}

namespace {

using bench::IEcho;

// What a frame, a packet, a call and its arguments add to the bytes themselves.
constexpr std::uint32_t kAroundRequest = 8 + 20 + 20 + 9;
constexpr std::uint32_t kAroundReply = 8 + 20 + 8 + 13;

struct Size {
    std::uint32_t bytes;
    std::uint32_t calls;  // timed together
};
constexpr std::array<Size, 3> kSizes{{{64, 20}, {4096, 20}, {1u << 20, 1}}};

class EchoService final : public vek::ObjectImpl<IEcho> {
public:
    vek::result_t Echo(std::span<const std::byte> bytes, std::span<std::byte> same,
                       std::uint32_t& count) noexcept override {
        count = static_cast<std::uint32_t>(std::min(bytes.size(), same.size()));
        std::memcpy(same.data(), bytes.data(), count);
        return vek::result::kOk;
    }
};

std::shared_ptr<const vek::remoting::ProxyStubFactories> Factories() {
    return std::make_shared<const vek::remoting::ProxyStubFactories>(std::vector{
        vek::remoting::FactoryOf<vek::IServiceLocator>(), vek::remoting::FactoryOf<IEcho>()});
}

const remote::Endpoint kEndpoint = bench::OwnEndpoint();
const bench::OtherProcess kOther([] {
    bench::Serve(kEndpoint, Factories(), vek::MakeObject<EchoService>());
});

void BarePingPong(benchmark::State& state) {
    const Size size = kSizes[static_cast<std::size_t>(state.range(0))];
    bench::BareRounds rounds(kOther, {size.bytes + kAroundRequest, size.bytes + kAroundReply});
    bench::MeasureBatches(state, [&] {
        for (std::uint32_t i = 0; i < size.calls; ++i) {
            if (!rounds.Next()) return false;
        }
        return true;
    });
}
BENCHMARK(BarePingPong)->DenseRange(0, 2)->UseManualTime();

void RemoteCall(benchmark::State& state) {
    const Size size = kSizes[static_cast<std::size_t>(state.range(0))];
    const bench::Client client(kEndpoint, Factories());
    const auto echo = client.Service<IEcho>();
    const std::vector<std::byte> bytes(size.bytes);
    std::vector<std::byte> same(size.bytes);
    bench::MeasureBatches(state, [&] {
        for (std::uint32_t i = 0; i < size.calls; ++i) {
            std::uint32_t count = 0;
            if (!echo || vek::Failed(echo->Echo(bytes, same, count)) || count != size.bytes) {
                return false;
            }
        }
        return true;
    });
}
BENCHMARK(RemoteCall)->DenseRange(0, 2)->UseManualTime();

std::string Title(std::size_t index, const char* size) {
    return std::to_string(kSizes[index].calls * bench::kBatches) + " remote calls of " + size +
           ", to bare ping-pongs";
}

const bench::Ratio kSmall(Title(0, "64 B"), "RemoteCall/0/manual_time",
                          "BarePingPong/0/manual_time", 1.15);
const bench::Ratio kMiddle(Title(1, "4 KiB"), "RemoteCall/1/manual_time",
                           "BarePingPong/1/manual_time", 1.3);
const bench::Ratio kLarge(Title(2, "1 MiB"), "RemoteCall/2/manual_time",
                          "BarePingPong/2/manual_time", 1.5);

}  // namespace
