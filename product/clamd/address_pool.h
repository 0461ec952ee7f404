#pragma once

// Where clamd can be asked just now.

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "product/policy/engine_address.h"
#include "vek/platform/clock.h"

namespace reference_product {

// clamd's addresses, and which of them failed lately. For one thread.
class AddressPool {
public:
    // `clock` must outlive the pool.
    AddressPool(std::vector<EngineAddress> addresses, vek::platform::Clock& clock);

    // The addresses to be tried now, by their numbers: in the configured order, but those that
    // failed within the last 30 seconds come last, and without those that could not be reached
    // within the last second.
    std::vector<std::size_t> Order() const;
    // Whether it is one of Order() still: others may have found meanwhile that it is not reached.
    bool MayBeTried(std::size_t number) const;
    // Why nobody can be reached, after each of Order() has been tried.
    std::string Trouble() const;

    const EngineAddress& address(std::size_t number) const { return entries_[number].address; }
    // What the daemon there is called in texts.
    std::string Daemon(std::size_t number) const;

    void CouldNotBeReached(std::size_t number, std::string why);
    void FailedLater(std::size_t number);

private:
    using Time = std::optional<std::chrono::milliseconds>;  // by the clock's AwakeTime
    struct Entry {
        EngineAddress address;
        Time unreachable{};
        Time failed{};
        std::string why{};
    };

    bool IsWithin(std::chrono::milliseconds limit, const Time& time) const;

    vek::platform::Clock& clock_;
    std::vector<Entry> entries_;
};

}  // namespace reference_product
