// Measures the recently-checked memory, with 1,000 messages in it, against a bare hash table of as
// many: one look-up and one insertion.

#include <benchmark/benchmark.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "bench/ratio.h"
#include "outlook/recently_checked_cache.h"

namespace {

using plugins::mail_processing::RecentlyCheckedCache;

// Entry ids of a message store are of this length and differ at their end.
std::vector<std::u16string> EntryIds(std::size_t count) {
    std::vector<std::u16string> ids;
    for (std::size_t i = 0; i != count; ++i) {
        std::u16string id(140, u'0');
        for (std::size_t rest = i, at = id.size(); rest != 0; rest /= 10) {
            id[--at] = static_cast<char16_t>(u'0' + rest % 10);
        }
        ids.push_back(std::move(id));
    }
    return ids;
}

// The same messages again and again, or always others.
constexpr std::int64_t kAgain = RecentlyCheckedCache::kCapacity;
constexpr std::int64_t kOthers = 8 * kAgain;

void Cache(benchmark::State& state) {
    const auto ids = EntryIds(static_cast<std::size_t>(state.range(0)));
    RecentlyCheckedCache cache(vek::platform::TheClock());
    std::size_t next = 0;
    for ([[maybe_unused]] const auto _ : state) {
        benchmark::DoNotOptimize(cache.Contains(ids[next]));
        cache.Add(ids[next]);
        if (++next == ids.size()) next = 0;
    }
    if (cache.size() > RecentlyCheckedCache::kCapacity) state.SkipWithError("too many");
}

void BareTable(benchmark::State& state) {
    auto& clock = vek::platform::TheClock();
    const auto ids = EntryIds(static_cast<std::size_t>(state.range(0)));
    std::unordered_map<std::u16string, vek::platform::filetime_t> table;
    std::size_t next = 0;
    for ([[maybe_unused]] const auto _ : state) {
        benchmark::DoNotOptimize(table.find(ids[next]));
        table.insert_or_assign(ids[next], clock.UtcNow());
        if (table.size() > RecentlyCheckedCache::kCapacity) {
            // The one that the cache would forget.
            const auto kept = RecentlyCheckedCache::kCapacity;
            table.erase(ids[next >= kept ? next - kept : next + ids.size() - kept]);
        }
        if (++next == ids.size()) next = 0;
    }
}

BENCHMARK(Cache)->Arg(kAgain)->Arg(kOthers);
BENCHMARK(BareTable)->Arg(kAgain)->Arg(kOthers);

const bench::Ratio kKnown("a message checked again, to a bare hash table",
                          "Cache/" + std::to_string(kAgain), "BareTable/" + std::to_string(kAgain),
                          1.5);
const bench::Ratio kNew("a message checked for the first time, to a bare hash table",
                        "Cache/" + std::to_string(kOthers), "BareTable/" + std::to_string(kOthers),
                        1.5);

}  // namespace
