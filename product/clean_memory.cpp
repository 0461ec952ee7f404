#include "product/clean_memory.h"

namespace reference_product {
namespace {

constexpr std::size_t kKeptSummary = 500;  // bytes

vek::platform::filetime_t ToFileTime(std::chrono::seconds time) {
    return static_cast<vek::platform::filetime_t>(time.count()) * 10'000'000;
}

}  // namespace

CleanMemory::CleanMemory(std::function<CleanLimits()> limits, vek::platform::Clock& clock)
    : limits_(std::move(limits)), clock_(clock) {}

std::optional<std::string> CleanMemory::Find(const std::string& account, std::uint64_t hash,
                                             std::uint64_t version) {
    const CleanLimits limits = limits_();
    const vek::platform::filetime_t now = clock_.UtcNow();
    const std::lock_guard guard(lock_);
    Shrink(limits.messages, version);
    const auto found = by_key_.find({account, hash});
    if (found == by_key_.end()) return std::nullopt;
    const Messages::iterator message = found->second;
    // A clock that was set back makes no message younger.
    if (now < message->found || now - message->found >= ToFileTime(limits.age)) {
        Forget(message);
        return std::nullopt;
    }
    messages_.splice(messages_.begin(), messages_, message);
    return message->summary;
}

void CleanMemory::Add(const std::string& account, std::uint64_t hash, std::uint64_t version,
                      std::string_view summary) {
    const CleanLimits limits = limits_();
    const vek::platform::filetime_t now = clock_.UtcNow();
    const std::lock_guard guard(lock_);
    Shrink(limits.messages, version);
    const auto [place, is_new] = by_key_.try_emplace({account, hash}, messages_.end());
    if (!is_new) messages_.erase(place->second);
    messages_.push_front({place->first, now, std::string(summary.substr(0, kKeptSummary))});
    place->second = messages_.begin();
    Shrink(limits.messages, version);
}

// Forgets what other signatures found, and what is too much.
void CleanMemory::Shrink(std::size_t most, std::uint64_t version) {
    if (version != version_) most = 0;
    version_ = version;
    while (messages_.size() > most) Forget(std::prev(messages_.end()));
}

void CleanMemory::Forget(Messages::iterator message) {
    by_key_.erase(message->key);
    messages_.erase(message);
}

}  // namespace reference_product
