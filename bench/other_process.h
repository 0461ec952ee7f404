#pragma once

// A second process for benchmarks of what goes between two.

#include <benchmark/benchmark.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <time.h>
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
#include "bench/ratio.h"
#include "remote/socket/address_posix.h"
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

// Tells a bare end how many bytes it gets each time and how many it sends back.
struct BareSizes {
    std::uint32_t request = 0;  // at least one byte
    std::uint32_t reply = 0;
    std::uint32_t asked = 0;  // not 0: it is the other process that sends so many requests
};

// The other process, and bare sockets to it, its lines. To be made before main(), while there is no
// other thread; ends with this process.
//
// kTogether: both processes stay on one processor. Then the one that waits is woken by a plain
// switch, and a round takes what the two do, one after the other. On two processors most of a round
// is the time that the system takes to wake a processor from its sleep: it is several times as
// long, changes from run to run, and hides what is measured.
//
// kApart: each has a processor of its own where there are several, and time is what passes: what
// somebody who waits for the other process sees, the waking included. The machine must be idle.
class OtherProcess {
public:
    enum class Placement { kTogether, kApart };

    // `serve` starts, in the other process, what is to be measured there; it runs on in threads.
    template <class Serve>
    explicit OtherProcess(Serve serve, Placement placement = Placement::kTogether)
        : placement_(placement) {
        for (Line& line : lines_) remote::MakePair(line.here, line.there);
        std::array<int, 2> ready{};
        if (::pipe(ready.data()) != 0) std::abort();
        // Whom a message wakes does not interrupt its sender: when it does is luck, and costs other
        // than when it does not.
        const sched_param priority{};
        ::sched_setscheduler(0, SCHED_BATCH, &priority);
        const pid_t parent = ::getpid();
        const pid_t child = ::fork();
        if (child == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (::getppid() != parent) ::_exit(1);
            if (placement_ == Placement::kApart) pinned_.MoveToAnother();
            serve();
            for (const Line& line : lines_) {
                std::thread([&line] { ServeBare(line.there.get()); }).detach();
            }
            if (::write(ready[1], "r", 1) != 1) std::abort();
            for (;;) ::pause();
        }
        ::close(ready[1]);
        char byte = 0;
        if (::read(ready[0], &byte, 1) != 1) std::abort();
        ::close(ready[0]);
        ::clock_getcpuclockid(parent, &clocks_[0]);
        ::clock_getcpuclockid(child, &clocks_[1]);
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    // The processor time of both processes so far, or, apart, that of a clock.
    double Seconds() const {
        if (placement_ == Placement::kApart) {
            return std::chrono::duration<double>(
                       std::chrono::steady_clock::now().time_since_epoch())
                .count();
        }
        double seconds = 0;
        for (const clockid_t clock : clocks_) {
            timespec time{};
            ::clock_gettime(clock, &time);
            seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
        }
        return seconds;
    }

    static constexpr std::size_t kLines = 2;
    int bare_socket(std::size_t line) const { return lines_[line].here.get(); }

private:
    struct Line {
        vek::platform::Descriptor here;
        vek::platform::Descriptor there;
    };

    // Answers requests until one that begins with kLast, and then those of the next sizes.
    static void ServeBare(int socket) {
        std::vector<std::byte> buffer;
        BareSizes sizes;
        while (Transfer(socket, std::as_writable_bytes(std::span(&sizes, 1)), false)) {
            buffer.assign(std::max(sizes.request, sizes.reply), std::byte{});
            const auto request = std::span(buffer).first(sizes.request);
            const auto reply = std::span(buffer).first(sizes.reply);
            for (std::uint32_t i = 0; i < sizes.asked; ++i) {
                if (!Transfer(socket, request, true) || !Transfer(socket, reply, false)) return;
            }
            if (sizes.asked != 0) continue;
            for (bool last = false; !last;) {
                if (!Transfer(socket, request, false)) return;
                last = request[0] == kLast;
                if (!Transfer(socket, reply, true)) return;
            }
        }
    }

    const Placement placement_;
    OneProcessor pinned_;
    std::array<clockid_t, 2> clocks_{};
    std::array<Line, kLines> lines_;
};

// Bare exchanges with the other process: the floor of what goes between two. One at a
// time on a line.
class BareRounds {
public:
    BareRounds(const OtherProcess& other, std::size_t line, BareSizes sizes)
        : socket_(other.bare_socket(line)),
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

// Times an operation and its floor in turns, in short batches, and reports the median of either:
// both see the same machine, and what disturbs some batches is left out with them. The time is that
// of OtherProcess::Seconds(): together, the processor time of both processes. As one of them is
// always at work, that is the time that passes while nobody else wants the processor. A batch
// answers false when it failed.
inline constexpr int kBatches = 25;

template <class Operation, class Floor>
void MeasureInTurns(benchmark::State& state, const OtherProcess& other, Operation operation,
                    Floor floor) {
    std::array<double, kBatches> operations{};
    std::array<double, kBatches> floors{};
    const auto time = [&](auto& batch) {
        const double begin = other.Seconds();
        if (!batch()) state.SkipWithError("the other process does not answer");
        return other.Seconds() - begin;
    };
    const auto median = [](auto& seconds) {
        std::nth_element(seconds.begin(), seconds.begin() + kBatches / 2, seconds.end());
        return seconds[kBatches / 2];
    };
    double floor_seconds = 0;
    for ([[maybe_unused]] const auto _ : state) {
        for (int i = 0; i < kBatches; ++i) {
            operations[static_cast<std::size_t>(i)] = time(operation);
            floors[static_cast<std::size_t>(i)] = time(floor);
        }
        state.SetIterationTime(median(operations) * kBatches);
        floor_seconds += median(floors) * kBatches;
    }
    state.counters[Ratio::kFloor] =
        benchmark::Counter(floor_seconds, benchmark::Counter::kAvgIterations);
}

}  // namespace bench
