// A call between two processes against the bare exchange of the same bytes that it cannot do
// without: a blocking ping-pong on the same kind of socket. Both ends on one processor, so that
// neither depends on how the system wakes the other.

#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <thread>
#include <vector>

#include "bench/echo_handler.h"
#include "bench/one_processor.h"
#include "bench/ratio.h"
#include "remote/socket/address_posix.h"
#include "remote/transport.h"
#include "vek/platform/thread.h"

namespace {

using vek::platform::Descriptor;

constexpr std::size_t kLargest = std::size_t{1} << 20;

// The bytes that a frame and a packet add to the call's data.
constexpr std::size_t kHeads = 8 + 20;

bool Transfer(int socket, std::byte* bytes, std::size_t size, bool sends) {
    while (size > 0) {
        const ssize_t moved = sends ? ::send(socket, bytes, size, MSG_NOSIGNAL)
                                    : ::recv(socket, bytes, size, MSG_WAITALL);
        if (moved <= 0) return false;
        bytes += moved;
        size -= static_cast<std::size_t>(moved);
    }
    return true;
}

// The other process. Made before main() and its threads; ends with this one.
class Peer {
public:
    Peer() {
        // Whom a message wakes does not interrupt its sender: when it does is luck, and costs other
        // than when it does not.
        const sched_param priority{};
        ::sched_setscheduler(0, SCHED_BATCH, &priority);
        ::clock_getcpuclockid(0, &clocks_[0]);
        for (auto& pair : pairs_) remote::MakePair(pair[0], pair[1]);
        endpoint_ = {vek::platform::CurrentProcessId(), 0};
        std::array<int, 2> ready;
        if (::pipe(ready.data()) != 0) std::abort();
        const pid_t child = ::fork();
        if (child == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            Serve(ready[1]);
        }
        char byte = 0;
        if (::read(ready[0], &byte, 1) != 1) std::abort();
        ::clock_getcpuclockid(child, &clocks_[1]);
    }

    const remote::Endpoint& endpoint() const { return endpoint_; }

    // A socket on which the peer sends back whatever comes, in pieces of the `index`th size.
    int socket(std::size_t index) const { return pairs_[index][0].get(); }

    // The processor time of both processes, in seconds.
    double Seconds() const {
        double seconds = 0;
        for (const clockid_t clock : clocks_) {
            timespec time{};
            ::clock_gettime(clock, &time);
            seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
        }
        return seconds;
    }

    static constexpr std::array<std::size_t, 3> kSizes{64, 4096, kLargest};

private:
    [[noreturn]] void Serve(int ready) {
        std::shared_ptr<remote::Transport> transport;
        std::unique_ptr<remote::Listener> listener;
        auto handler = std::make_shared<bench::EchoHandler>();
        const auto accept = [&](std::shared_ptr<remote::Transport> made) {
            transport = std::move(made);
            return handler;
        };
        if (vek::Failed(remote::Listen(endpoint_, accept, {}, listener))) std::abort();
        std::vector<std::thread> echoes;
        for (std::size_t i = 0; i < kSizes.size(); ++i) {
            echoes.emplace_back([this, i] {
                std::vector<std::byte> bytes(kSizes[i] + kHeads);
                const int socket = pairs_[i][1].get();
                while (Transfer(socket, bytes.data(), bytes.size(), false) &&
                       Transfer(socket, bytes.data(), bytes.size(), true)) {
                }
            });
        }
        if (::write(ready, "r", 1) != 1) std::abort();
        for (;;) ::pause();
    }

    const bench::OneProcessor pinned_;
    std::array<clockid_t, 2> clocks_{};
    std::array<std::array<Descriptor, 2>, 3> pairs_;
    remote::Endpoint endpoint_;
};

Peer peer;

// Times many rounds at once, of the size that state.range(0) says.
template <class Round>
void Measure(benchmark::State& state, Round round) {
    const int rounds = state.range(0) == 2 ? 10 : 200;
    for ([[maybe_unused]] const auto _ : state) {
        const double begin = peer.Seconds();
        for (int i = 0; i < rounds; ++i) {
            if (!round()) state.SkipWithError("a round failed");
        }
        state.SetIterationTime(peer.Seconds() - begin);
    }
}

void BarePingPong(benchmark::State& state) {
    const auto index = static_cast<std::size_t>(state.range(0));
    std::vector<std::byte> bytes(Peer::kSizes[index] + kHeads);
    Measure(state, [&] {
        Transfer(peer.socket(index), bytes.data(), bytes.size(), true);
        return Transfer(peer.socket(index), bytes.data(), bytes.size(), false);
    });
}
BENCHMARK(BarePingPong)->DenseRange(0, 2)->UseManualTime();

void TransportCall(benchmark::State& state) {
    std::shared_ptr<remote::Transport> transport;
    if (vek::Failed(remote::ConnectTransport(peer.endpoint(), {}, {}, transport))) {
        state.SkipWithError("cannot connect");
        return;
    }
    const std::vector<std::byte> bytes(Peer::kSizes[static_cast<std::size_t>(state.range(0))]);
    const std::array<remote::bytes_t, 1> pieces{bytes};
    std::uint32_t id = 0;
    Measure(state, [&] {
        remote::RpcProtocolProcessorOut request;
        request.SetCallIdentification(++id, 0);
        request.SetCallData(pieces);
        remote::RpcProtocolProcessorIn reply;
        return vek::Succeeded(transport->SendReceive(request, reply)) &&
               reply.GetCallData().size() == bytes.size();
    });
}
BENCHMARK(TransportCall)->DenseRange(0, 2)->UseManualTime();

const bench::Ratio kSmall("200 calls of 64 B to bare ping-pongs", "TransportCall/0/manual_time",
                          "BarePingPong/0/manual_time", 1.15);
const bench::Ratio kMiddle("200 calls of 4 KiB to bare ping-pongs", "TransportCall/1/manual_time",
                           "BarePingPong/1/manual_time", 1.3);
const bench::Ratio kLarge("10 calls of 1 MiB to bare ping-pongs", "TransportCall/2/manual_time",
                          "BarePingPong/2/manual_time", 1.3);

}  // namespace
