#pragma once

// The numbers of hosts that settings name.

#include <asio.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "vek/platform/clock.h"

namespace reference_product {

// Asks the system for hosts' addresses, which takes as long as it likes: each question has a thread
// of its own, which nobody waits for, and a host has one question at a time, or another after half
// a minute without an answer. To be used and destroyed where the context runs, or while it does
// not.
class HostNames {
public:
    using Addresses = std::vector<asio::ip::address>;
    // Is told the addresses, or by none of them why there is none.
    using Found = std::function<void(const Addresses& addresses, const std::string& trouble)>;

    // Both arguments must outlive the object.
    HostNames(asio::io_context& io, vek::platform::Clock& clock);
    ~HostNames();
    HostNames(const HostNames&) = delete;
    HostNames& operator=(const HostNames&) = delete;

    // Calls `found` in the context: at once for a number and for what was found within the last
    // minute. It may be never called.
    void Find(const std::string& host, Found found);

private:
    struct Name {
        Addresses addresses;
        std::chrono::milliseconds since{};
        std::chrono::milliseconds asked{};
        std::vector<Found> waiting;
    };
    // What the questions' threads see of their owner, as long as there is one.
    struct Owner {
        std::mutex lock;
        HostNames* names;
    };

    static void Ask(const std::shared_ptr<Owner>& owner, const std::string& host) noexcept;
    void Answer(const std::string& host, Addresses addresses, const std::string& trouble);

    asio::io_context& io_;
    vek::platform::Clock& clock_;
    std::map<std::string, Name> names_;
    const std::shared_ptr<Owner> owner_;
};

}  // namespace reference_product
