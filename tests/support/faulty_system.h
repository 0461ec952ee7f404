#pragma once

#include <gtest/gtest.h>

#include <atomic>

#include "vek/platform/system.h"

namespace tests {

// The operating system with failures on demand: the nth call of a kind from now on fails. Counts
// what is alive, of which its end leaves nothing.
class FaultySystem final : public vek::platform::System {
public:
    ~FaultySystem() override {
        EXPECT_EQ(live_events, 0) << "events left";
        EXPECT_EQ(live_threads, 0) << "threads left";
    }

    // 1 is the next call; 0 is never.
    std::atomic<int> fail_new_event{0}, fail_start_thread{0}, fail_set{0}, fail_wait{0};
    std::atomic<std::uint32_t> fail_wait_on_thread{0};  // 0: whichever thread waits
    vek::platform::WaitStatus wait_failure = vek::platform::WaitStatus::kFailed;

    std::atomic<int> live_events{0}, live_threads{0};

    // What limited waits for threads would take, added up; each takes no longer than
    // `longest_wait`.
    std::atomic<std::chrono::milliseconds> waited{};
    std::chrono::milliseconds longest_wait = std::chrono::hours{1};

    std::unique_ptr<vek::platform::Event> NewEvent(vek::platform::EventKind kind) override;
    vek::platform::WaitResult WaitAny(std::span<vek::platform::Event* const> events,
                                      std::chrono::milliseconds timeout) noexcept override;
    std::unique_ptr<vek::platform::Thread> StartThread(std::function<void()> body) override;

    static constexpr vek::platform::system_error_t kError =
        vek::platform::system_error::kNoSystemResources;
    // kError as an HRESULT.
    static constexpr std::uint32_t kErrorHResult = 0x800705AA;

    // Counts a call of a kind; true when it is to fail.
    static bool Fails(std::atomic<int>& countdown) noexcept;
};

}  // namespace tests
