#pragma once

// The folder through which a product's process and other processes find each other.
//
//   running.json  names the running process and its address; written when the process is ready,
//                 removed when it stops
//   stop.json     asks the process that it names to stop
//
// A service's scanner is found in another way (ScannerNames).

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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

// A service's scanner, which can be reached.
struct ServiceScanner {
    std::uint32_t service = 0;     // the service's process
    std::uint32_t process_id = 0;  // the scanner's
    std::uint32_t local_id = 0;    // its address

    bool operator==(const ServiceScanner&) const = default;
};

// Where a service's scanner is, said in the common data folder by the names of empty files, which
// only the service can make: running-S-K-P-L, the service's process, a number that grows, the
// scanner's process and its local id. Whoever may read a file can keep it from others, lock it or
// have others wait, but nobody can keep the service from making a name or others from reading the
// folder. It counts for as long as the service control manager names that service's process: nobody
// opens a process. Any thread of any process may use one.
class ScannerNames {
public:
    explicit ScannerNames(std::filesystem::path data) : data_(std::move(data)) {}

    // Gives the scanner of the service that runs as `service`, as the name with the greatest number
    // says; nothing when there is none, or it says that there is none.
    std::optional<ServiceScanner> ScannerOf(std::uint32_t service) const noexcept;

    // For the scanner, once it can be reached; one without numbers says that none can. Raises
    // std::runtime_error.
    void Publish(const ServiceScanner& self) const;

    // Every name there, whoever's.
    std::vector<std::filesystem::path> All() const;

private:
    struct Numbers {
        ServiceScanner scanner;
        std::uint32_t number = 0;
    };

    static std::optional<Numbers> NumbersIn(const std::string& name) noexcept;
    std::optional<Numbers> LastOf(std::uint32_t service) const;

    const std::filesystem::path data_;
};

}  // namespace reference_product
