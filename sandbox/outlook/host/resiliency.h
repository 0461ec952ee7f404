#pragma once

#include <array>
#include <chrono>
#include <ostream>
#include <vector>

namespace sandbox::host {

// What Outlook measures of an add-in.
enum class Occasion { kStartup, kItemOpen, kShutdown };

// Measures an add-in as Outlook 2013 and later do, and tells when they would disable it: when the
// median of the last five occurrences is beyond what is tolerated.
class Resiliency {
public:
    // Whether the add-in would be disabled by now because of that occasion.
    bool Note(Occasion occasion, std::chrono::microseconds time);

    // The medians so far, and which of them are too long.
    void Print(std::ostream& out) const;

private:
    struct Record {
        std::vector<std::chrono::microseconds> last;  // five at most
        bool too_slow = false;                        // at some time
    };
    std::array<Record, 3> records_;
};

}  // namespace sandbox::host
