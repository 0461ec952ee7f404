#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "processing/check_observer.h"

namespace sandbox::demo {

// One event and the outcome of its message.
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
    std::vector<std::string> notes;     // why it was not checked
    std::vector<std::string> failures;  // codes of failed checks, and of what kept it from a check

    bool is_checked() const { return checks > failed_checks; }
};

// Observes the add-in and writes down to which event each check belongs: to the innermost one that
// Outlook's thread is in when the check's number is first told. Free-threaded.
class Scoreboard final : public plugins::mail_processing::CheckObserver {
public:
    using ObservedCheck = plugins::mail_processing::ObservedCheck;
    using SkipReason = plugins::mail_processing::SkipReason;

    // Begins a row for an event, within another too, and gives its number. Outlook's thread.
    std::size_t Begin(std::string event, std::string entry_id = {});
    // Ends it; `entry_id` is its message's, where that was not known before.
    void End(std::size_t row, std::string entry_id = {});

    void OnQueued(const ObservedCheck& check) noexcept override;
    void OnBegun(const ObservedCheck& check) noexcept override;
    void OnEnded(const ObservedCheck& check, vek::result_t code) noexcept override;
    void OnSkipped(const ObservedCheck& check, SkipReason reason,
                   vek::result_t code) noexcept override;

    // Whether no queued message waits for the end of its check.
    bool IsIdle() const;

    std::vector<Row> rows() const;
    // Forgets the rows that there are; what is queued still counts for IsIdle.
    void Clear();

private:
    using Clock = std::chrono::steady_clock;
    // A check between its first and its last event.
    struct OpenCheck {
        std::size_t row;
        bool queued;
    };

    std::chrono::microseconds Now() const;
    OpenCheck& Find(const ObservedCheck& check);
    Row& RowOf(const OpenCheck& check);

    mutable std::mutex mutex_;  // guards all below
    const Clock::time_point start_ = Clock::now();
    std::size_t first_ = 0;  // the number of the first row kept
    std::deque<Row> rows_;
    std::vector<std::size_t> open_;  // the events that Outlook's thread is in
    std::map<plugins::mail_processing::check_number_t, OpenCheck> checks_;
    Row elsewhere_;  // takes what belongs to no event, or to a forgotten one
};

}  // namespace sandbox::demo
