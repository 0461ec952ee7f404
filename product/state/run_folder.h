#pragma once

// The folder through which a product's process and other processes find each other.
//
//   running.json  names the running process and its address; written when the process is ready,
//                 removed when it stops
//   stop.json     asks the process that it names to stop

#include <cstdint>
#include <filesystem>
#include <optional>

namespace reference_product {

// A process that runs, or ran.
struct RunningProduct {
    std::uint32_t process_id = 0;
    std::uint64_t started = 0;   // its ProcessStart
    std::uint32_t local_id = 0;  // its address; zero means that tcp_port is
    std::uint16_t tcp_port = 0;

    bool operator==(const RunningProduct&) const = default;
};

// Reads and writes the folder's files. It keeps nothing in memory; any thread of any process may
// use one.
class RunFolder {
public:
    explicit RunFolder(const std::filesystem::path& folder);

    // Gives the process that runs now, or nothing. The file of a process that ended without
    // removing it does not count. Raises std::exception for a malformed file.
    std::optional<RunningProduct> Running() const;

    // For the product's process: writes running.json, and removes both files unless they name
    // another process by now. Publish raises std::runtime_error.
    void Publish(const RunningProduct& self) const;
    void Withdraw(const RunningProduct& self) const noexcept;

    // Writes stop.json. Raises std::runtime_error.
    void RequestStop(const RunningProduct& product) const;
    // Tells whether stop.json names `self`.
    bool StopRequested(const RunningProduct& self) const noexcept;

private:
    const std::filesystem::path running_;
    const std::filesystem::path stop_;
};

// Tells whether the process still runs.
bool IsAlive(const RunningProduct& product);

}  // namespace reference_product
