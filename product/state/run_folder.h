#pragma once

// The folder of a product: what its process and others tell each other there.
//
//   running.json  the process that runs and where it can be reached; written when it is ready,
//                 removed when it stops
//   stop.json     asks the process it names to stop

#include <cstdint>
#include <filesystem>
#include <optional>

namespace reference_product {

// A process that runs, or ran.
struct RunningProduct {
    std::uint32_t process_id = 0;
    std::uint64_t started = 0;   // its ProcessStart
    std::uint32_t local_id = 0;  // where it is reached: this, or when it is zero
    std::uint16_t tcp_port = 0;  // this port

    bool operator==(const RunningProduct&) const = default;
};

// Holds nothing: what it says is what the folder holds at the time. May be used from any thread and
// from several processes.
class RunFolder {
public:
    explicit RunFolder(std::filesystem::path folder);

    // The process that runs now; nothing when there is none, whatever an earlier one that was not
    // stopped in order has left. Raises std::exception for a file that no product wrote.
    std::optional<RunningProduct> Running() const;

    // For the product's process: makes itself known, and unknown again unless another process has
    // taken its place meanwhile. The first raises std::runtime_error.
    void Publish(const RunningProduct& self) const;
    void Withdraw(const RunningProduct& self) const noexcept;

    // Asks `product` to stop. Raises std::runtime_error.
    void RequestStop(const RunningProduct& product) const;
    // Whether `self` was asked to.
    bool StopRequested(const RunningProduct& self) const noexcept;

private:
    const std::filesystem::path running_;
    const std::filesystem::path stop_;
};

// Whether the process still runs.
bool IsAlive(const RunningProduct& product);

}  // namespace reference_product
