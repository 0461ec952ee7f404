#include "outlook/recently_checked_cache.h"

#include <iterator>

namespace plugins::mail_processing {

using vek::platform::filetime_t;

RecentlyCheckedCache::RecentlyCheckedCache(vek::platform::Clock& clock, std::size_t capacity,
                                           filetime_t window) noexcept
    : clock_(clock), capacity_(capacity), window_(window) {}

// The clock may have been set back since: what is a window ahead of it is of another time.
bool RecentlyCheckedCache::IsFresh(const Entry& entry, filetime_t now) const noexcept {
    return (now > entry.time ? now - entry.time : entry.time - now) <= window_;
}

bool RecentlyCheckedCache::Contains(std::u16string_view id) const noexcept {
    const auto found = by_id_.find(id);
    return found != by_id_.end() && IsFresh(*found->second, clock_.UtcNow());
}

void RecentlyCheckedCache::Add(std::u16string_view id) {
    const filetime_t now = clock_.UtcNow();
    if (const auto found = by_id_.find(id); found != by_id_.end()) {
        by_time_.splice(by_time_.end(), by_time_, found->second);
    } else {
        Entries added;
        added.push_back({std::u16string(id), now});
        by_id_.emplace(added.back().id, added.begin());
        by_time_.splice(by_time_.end(), added);
    }

    const auto newest = std::prev(by_time_.end());
    newest->time = now;
    while (newest != by_time_.begin()) {
        const auto before = std::prev(newest);
        if (before->time <= now) break;
        if (IsFresh(*before, now)) {
            // Set back a little: the order of adding stays the order of time.
            newest->time = before->time;
            break;
        }
        Forget(before);
    }
    while (by_time_.size() > capacity_ || !IsFresh(by_time_.front(), now)) {
        Forget(by_time_.begin());
    }
}

void RecentlyCheckedCache::Forget(Entries::iterator entry) noexcept {
    by_id_.erase(entry->id);
    by_time_.erase(entry);
}

}  // namespace plugins::mail_processing
