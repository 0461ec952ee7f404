#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

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
    int cut_off = 0;                    // that may have been begun besides and were not told of
    bool in_background = false;         // one of them was
    std::vector<std::string> notes;     // why it was not checked
    std::vector<std::string> failures;  // codes of failed checks, and of what kept it from a check

    bool is_checked() const { return checks > failed_checks; }
};

// The rows of a scenario's table. Whoever derives from it writes down the outcomes. Free-threaded.
class EventRows {
public:
    virtual ~EventRows() = default;

    // Begins a row for an event, within another too, and gives its number. Outlook's thread.
    virtual std::size_t Begin(std::string event, std::string entry_id = {});
    // Ends it; `entry_id` is its message's, where that was not known before.
    virtual void End(std::size_t row, std::string entry_id = {});

    // Whether no queued message waits for the end of its check.
    virtual bool IsIdle() = 0;

    std::vector<Row> rows() const;
    // Forgets the rows that there are; what is queued still counts for IsIdle.
    void Clear();

protected:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t kNoRow = static_cast<std::size_t>(-1);

    // With the lock:
    std::size_t Innermost() const { return open_.empty() ? kNoRow : open_.back(); }
    // Takes what belongs to no event, or to a forgotten one, too.
    Row& At(std::size_t row) {
        return row == kNoRow || row < first_ ? elsewhere_ : rows_[row - first_];
    }
    std::deque<Row>& kept() { return rows_; }

    mutable std::mutex mutex_;  // guards all below, and what is derived

private:
    std::chrono::microseconds Now() const;

    const Clock::time_point start_ = Clock::now();
    std::size_t first_ = 0;  // the number of the first row kept
    std::deque<Row> rows_;
    std::vector<std::size_t> open_;  // the events that Outlook's thread is in
    Row elsewhere_;
};

// Adds a text that is not there yet.
void AddOnce(std::vector<std::string>& texts, std::string text);

}  // namespace sandbox::demo
