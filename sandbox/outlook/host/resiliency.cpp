#include "sandbox/outlook/host/resiliency.h"

#include <algorithm>
#include <cstddef>

namespace sandbox::host {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr std::size_t kOccurrences = 5;

struct Limit {
    const char* what;
    milliseconds longest;
};
constexpr std::array kLimits = {Limit{"start-up", milliseconds(1000)},
                                Limit{"item open", milliseconds(500)},
                                Limit{"shutdown", milliseconds(500)}};

microseconds Median(std::vector<microseconds> times) {
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::ranges::nth_element(times, middle);
    return *middle;
}

}  // namespace

bool Resiliency::Note(Occasion occasion, microseconds time) {
    const auto index = static_cast<std::size_t>(occasion);
    Record& record = records_[index];
    if (record.last.size() == kOccurrences) record.last.erase(record.last.begin());
    record.last.push_back(time);
    if (record.last.size() == kOccurrences && Median(record.last) > kLimits[index].longest)
        record.too_slow = true;
    return record.too_slow;
}

void Resiliency::Print(std::ostream& out) const {
    const char* separator = "Outlook's view of the add-in: ";
    for (std::size_t i = 0; i != records_.size(); ++i) {
        const Record& record = records_[i];
        if (record.last.empty()) continue;
        out << separator << kLimits[i].what << ' '
            << static_cast<double>(Median(record.last).count()) / 1000 << " of "
            << kLimits[i].longest.count() << " ms";
        if (record.too_slow) out << " (it would have been disabled)";
        separator = ", ";
    }
    if (*separator == ',') out << '\n';
}

}  // namespace sandbox::host
