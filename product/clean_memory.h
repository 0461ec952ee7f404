#pragma once

// The messages that a whole check found clean.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "vek/platform/clock.h"

namespace reference_product {

// How many messages are remembered, and for how long. None: all that is remembered is forgotten.
struct CleanLimits {
    std::size_t messages = 0;
    std::chrono::seconds age{0};
};

// Remembers incoming messages that were found clean, by the user's account and the message's hash,
// as long as the signatures are the same; the one that was asked for longest ago goes first. A
// message is checked anew when its age is reached, however often it was opened. In memory alone.
// Any thread may call it.
//
// The hash is of the message's identity in its store and the sizes of its contents, not of these: a
// content that is replaced by another of the same size is not seen until then (product.md).
class CleanMemory {
public:
    // `limits` is asked each time. `clock` must outlive the memory.
    explicit CleanMemory(std::function<CleanLimits()> limits,
                         vek::platform::Clock& clock = vek::platform::TheClock());

    // Gives the summary of a message that is remembered. Signatures of another version than before
    // have all forgotten.
    std::optional<std::string> Find(const std::string& account, std::uint64_t hash,
                                    std::uint64_t version);
    // Remembers a message. Of its summary, which the log shows, only the beginning is kept.
    void Add(const std::string& account, std::uint64_t hash, std::uint64_t version,
             std::string_view summary);

private:
    using Key = std::pair<std::string, std::uint64_t>;
    struct Message {
        Key key;
        vek::platform::filetime_t found;
        std::string summary;
    };
    using Messages = std::list<Message>;  // the last one asked for first

    void Shrink(std::size_t most, std::uint64_t version);
    void Forget(Messages::iterator message);

    const std::function<CleanLimits()> limits_;
    vek::platform::Clock& clock_;
    std::mutex lock_;  // guards what follows
    std::uint64_t version_ = 0;
    Messages messages_;
    std::map<Key, Messages::iterator> by_key_;
};

}  // namespace reference_product
