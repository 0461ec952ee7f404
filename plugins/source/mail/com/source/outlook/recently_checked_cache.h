#pragma once

#include <cstddef>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>

#include "vek/platform/clock.h"

namespace plugins::mail_processing {

// Remembers for a while which messages were checked. One thread. Every operation takes constant
// time, but for what it forgets, which was paid for when it was added.
class RecentlyCheckedCache {
public:
    static constexpr std::size_t kCapacity = 1000;
    static constexpr vek::platform::filetime_t kWindow = 300'000'000;  // 30 s

    // `clock` outlives the cache; the capacity is at least 1.
    explicit RecentlyCheckedCache(vek::platform::Clock& clock, std::size_t capacity = kCapacity,
                                  vek::platform::filetime_t window = kWindow) noexcept;

    // Whether `id` was added at most a window ago. What has expired counts as absent before it is
    // forgotten.
    bool Contains(std::u16string_view id) const noexcept;

    // Adds `id`, or makes it new again. Forgets what has expired, and the oldest above the
    // capacity. For want of memory it raises and is as before.
    void Add(std::u16string_view id);

    std::size_t size() const noexcept { return by_time_.size(); }

private:
    struct Entry {
        std::u16string id;
        vek::platform::filetime_t time;
    };
    using Entries = std::list<Entry>;

    bool IsFresh(const Entry& entry, vek::platform::filetime_t now) const noexcept;
    void Forget(Entries::iterator entry) noexcept;

    vek::platform::Clock& clock_;
    const std::size_t capacity_;
    const vek::platform::filetime_t window_;
    Entries by_time_;                                                   // oldest first
    std::unordered_map<std::u16string_view, Entries::iterator> by_id_;  // views of by_time_
};

}  // namespace plugins::mail_processing
