#pragma once

// A second process for benchmarks of what goes between two.

#include <benchmark/benchmark.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <thread>
#include <vector>

#include "bench/one_processor.h"
#include "remote/socket_address_posix.h"
#include "vek/platform/descriptor_posix.h"

namespace bench {

// One way over a bare blocking socket. False when the other end has gone.
inline bool Transfer(int socket, std::span<std::byte> bytes, bool sends) {
    while (!bytes.empty()) {
        const ssize_t moved = sends ? ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL)
                                    : ::recv(socket, bytes.data(), bytes.size(), MSG_WAITALL);
        if (moved <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(moved));
    }
    return true;
}

inline constexpr std::byte kLast{1};

// What a bare end is told before it answers: how much it gets each time and how much it sends back.
struct BareSizes {
    std::uint32_t request = 0;  // at least one byte
    std::uint32_t reply = 0;
};

// The other process, and a bare socket to it. To be made before main(), while there is no other
// thread; ends with this process.
//
// Both processes stay on one processor. Then the one that waits is woken by a plain switch, and a
// round takes what the two do, one after the other. On two processors most of a round is the time
// that the system takes to wake a processor from its sleep: it is several times as long, changes
// from run to run, and hides what is measured.
class OtherProcess {
public:
    // `serve` starts, in the other process, what is to be measured there; it runs on in threads.
    template <class Serve>
    explicit OtherProcess(Serve serve) {
        remote::MakePair(here_, there_);
        std::array<int, 2> ready{};
        if (::pipe(ready.data()) != 0) std::abort();
        // Whom a message wakes does not interrupt its sender: when it does is luck, and costs other
        // than when it does not.
        const sched_param priority{};
        ::sched_setscheduler(0, SCHED_BATCH, &priority);
        const pid_t parent = ::getpid();
        if (::fork() == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (::getppid() != parent) ::_exit(1);
            serve();
            std::thread([this] { ServeBare(); }).detach();
            if (::write(ready[1], "r", 1) != 1) std::abort();
            for (;;) ::pause();
        }
        ::close(ready[1]);
        char byte = 0;
        if (::read(ready[0], &byte, 1) != 1) std::abort();
        ::close(ready[0]);
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    int bare_socket() const { return here_.get(); }

private:
    // Answers requests until one that begins with kLast, and then those of the next sizes.
    void ServeBare() const {
        const int socket = there_.get();
        std::vector<std::byte> buffer;
        BareSizes sizes;
        while (Transfer(socket, std::as_writable_bytes(std::span(&sizes, 1)), false)) {
            buffer.assign(std::max(sizes.request, sizes.reply), std::byte{});
            const auto request = std::span(buffer).first(sizes.request);
            const auto reply = std::span(buffer).first(sizes.reply);
            for (bool last = false; !last;) {
                if (!Transfer(socket, request, false)) return;
                last = request[0] == kLast;
                if (!Transfer(socket, reply, true)) return;
            }
        }
    }

    const OneProcessor pinned_;
    vek::platform::Descriptor here_;
    vek::platform::Descriptor there_;
};

// Bare exchanges with the other process: the floor of what goes between two. One at a time.
class BareRounds {
public:
    BareRounds(const OtherProcess& other, BareSizes sizes)
        : socket_(other.bare_socket()),
          sizes_(sizes),
          buffer_(std::max(sizes.request, sizes.reply)) {
        Transfer(socket_, std::as_writable_bytes(std::span(&sizes, 1)), true);
    }
    ~BareRounds() {
        buffer_[0] = kLast;
        Next();
    }
    BareRounds(const BareRounds&) = delete;
    BareRounds& operator=(const BareRounds&) = delete;

    bool Next() {
        const std::span<std::byte> buffer(buffer_);
        return Transfer(socket_, buffer.first(sizes_.request), true) &&
               Transfer(socket_, buffer.first(sizes_.reply), false);
    }

private:
    const int socket_;
    const BareSizes sizes_;
    std::vector<std::byte> buffer_;
};

// Times `batch` in short pieces of real time and reports kBatches times their median: what others
// do on the machine disturbs some of the pieces, and is left out with them.
inline constexpr int kBatches = 25;

template <class Batch>
void MeasureBatches(benchmark::State& state, Batch batch) {
    using clock = std::chrono::steady_clock;
    std::array<double, kBatches> seconds{};
    for (auto _ : state) {
        for (double& taken : seconds) {
            const auto begin = clock::now();
            if (!batch()) return state.SkipWithError("the other process does not answer");
            taken = std::chrono::duration<double>(clock::now() - begin).count();
        }
        std::nth_element(seconds.begin(), seconds.begin() + kBatches / 2, seconds.end());
        state.SetIterationTime(seconds[kBatches / 2] * kBatches);
    }
}

}  // namespace bench
