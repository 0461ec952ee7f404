#pragma once

#include <chrono>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "sandbox/demo/scenario/event_rows.h"

namespace sandbox::demo {

// Outlook calls an add-in slow that holds it longer.
inline constexpr std::chrono::milliseconds kLongestHold{500};

// Counts outcomes over many rows.
struct Totals {
    std::size_t events = 0;
    std::size_t nested = 0;  // raised within another
    std::size_t in_background = 0;
    std::size_t on_read = 0;
    std::size_t on_send = 0;
    std::size_t not_checked = 0;
    std::size_t check_failed = 0;
    std::size_t with_failures = 0;  // events of which anything failed
    std::size_t held_long = 0;
    std::chrono::microseconds longest{};

    // Adds a row's.
    void Add(const Row& row);
};

// Describes an outcome in a few words: "checked in background".
std::string InWords(const Row& row);

// A row for each event, for a terminal of 140 columns. `subject` gives that of a message now.
void PrintRows(std::ostream& out, const std::vector<Row>& rows,
               const std::function<std::string(const std::string& entry_id)>& subject);

void Print(std::ostream& out, const Totals& totals);

}  // namespace sandbox::demo
