#include "product/clamd/address_pool.h"

#include <algorithm>
#include <utility>

namespace reference_product {
namespace {

constexpr std::chrono::seconds kPause{1};

// So long another is asked rather than one that failed: each attempt at a host that is switched off
// may take seconds.
constexpr std::chrono::seconds kDistrust{30};

}  // namespace

AddressPool::AddressPool(std::vector<EngineAddress> addresses, vek::platform::Clock& clock)
    : clock_(clock) {
    for (EngineAddress& address : addresses) entries_.push_back({std::move(address)});
}

bool AddressPool::IsWithin(std::chrono::milliseconds limit, const Time& time) const {
    return time && clock_.AwakeTime() - *time < limit;
}

std::vector<std::size_t> AddressPool::Order() const {
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i != entries_.size(); ++i)
        if (MayBeTried(i)) order.push_back(i);
    std::stable_partition(order.begin(), order.end(), [this](std::size_t i) {
        return !IsWithin(kDistrust, entries_[i].failed) &&
               !IsWithin(kDistrust, entries_[i].unreachable);
    });
    return order;
}

bool AddressPool::MayBeTried(std::size_t number) const {
    return !IsWithin(kPause, entries_[number].unreachable);
}

std::string AddressPool::Trouble() const {
    if (entries_.empty()) return "the settings name no address of clamd";
    std::string text = "clamd cannot be reached";
    const char* separator = ": ";
    for (const Entry& entry : entries_) {
        text += std::exchange(separator, "; ") + ToText(entry.address) + ": " + entry.why;
    }
    return text;
}

std::string AddressPool::Daemon(std::size_t number) const {
    return "clamd at " + ToText(entries_[number].address);
}

void AddressPool::CouldNotBeReached(std::size_t number, std::string why) {
    entries_[number].unreachable = clock_.AwakeTime();
    entries_[number].why = std::move(why);
}

void AddressPool::FailedLater(std::size_t number) { entries_[number].failed = clock_.AwakeTime(); }

}  // namespace reference_product
