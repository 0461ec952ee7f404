#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vek/trace/tracer.h"

namespace sandbox::demo {

// What came of one event.
struct Row {
    std::string event;
    std::string entry_id;              // of its message, if it has one
    std::chrono::microseconds at{};    // since the scenario began
    std::chrono::microseconds held{};  // how long it took Outlook's thread
    int depth = 0;                     // within how many other events it was raised

    bool queued = false;
    int checks = 0;                     // that were begun because of it, those in background too
    int failed_checks = 0;              // of them
    bool in_background = false;         // one of them was
    std::vector<std::string> notes;     // why it was not checked, as the trace tells
    std::vector<std::string> failures;  // of checks and others

    // The check under way has failed.
    bool failing = false;

    bool is_checked() const { return checks > failed_checks; }
};

// Follows the add-in's trace and writes down to which event each line belongs: to the innermost one
// that Outlook's thread is in, or to the one whose message the background thread has in hand.
// Free-threaded.
class Scoreboard {
public:
    using Clock = std::chrono::steady_clock;

    // On Outlook's thread, an event within another too. Gives the row's number.
    std::size_t Begin(std::string event, std::string entry_id = {});
    void End(std::size_t row, std::string entry_id = {});

    // A line of the trace, from the thread that writes it.
    void Note(std::uint32_t thread, vek::trace::level_t level, std::string_view text);

    // Nothing is queued, and nothing is checked in background.
    bool IsIdle() const;
    // What is queued still, or was and never will be checked.
    std::size_t queued() const;
    // What is queued will not be checked any more, for that reason.
    void DropQueue(const std::string& reason);

    std::vector<Row> rows() const;
    // Failures that belong to no event, or to nobody knows which.
    std::vector<std::string> other_failures() const;
    // No event is kept any more; what is queued stays.
    void Clear();

private:
    Row* RowOf(std::uint32_t thread);
    int* ChecksOf(std::uint32_t thread);
    void EndCheck(Row* row);
    void NoteFailure(std::uint32_t thread, Row* row, std::string_view text);

    mutable std::mutex mutex_;
    const Clock::time_point start_ = Clock::now();
    std::size_t first_ = 0;  // the number of the first row kept
    std::deque<Row> rows_;
    std::vector<std::string> other_failures_;
    std::uint32_t outlook_thread_ = 0;
    std::vector<std::size_t> open_;  // the events that Outlook's thread is in
    int outlook_checks_ = 0;         // that it is in
    std::deque<std::size_t> queue_;
    std::uint32_t background_thread_ = 0;
    std::optional<std::size_t> in_hand_;  // in background
    // Failures of workers, when there were two: of the check that ends next.
    std::vector<std::string> worker_failures_;
    int background_checks_ = 0;  // that are under way there
};

// Hands the lines of the trace to a scoreboard and to another tracer, which may be empty.
class WatchingTracer final : public vek::trace::Tracer {
public:
    // The scoreboard outlives this.
    WatchingTracer(Scoreboard& scoreboard, vek::trace::TracerPtr next)
        : scoreboard_(scoreboard), next_(std::move(next)) {}

    bool IsEnabled(vek::trace::level_t level) const noexcept override;
    void Write(vek::trace::level_t level, std::string_view text) noexcept override;

private:
    Scoreboard& scoreboard_;
    const vek::trace::TracerPtr next_;
};

}  // namespace sandbox::demo
