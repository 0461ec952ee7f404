#include "sandbox/demo/scenario/scoreboard.h"

#include <algorithm>
#include <array>

#include "vek/platform/thread.h"

namespace sandbox::demo {
namespace {

namespace level = vek::trace::level;

constexpr std::string_view kCheckBegins = "=> ProcessMessage";
constexpr std::string_view kCheckEnds = "<= ProcessMessage";
constexpr std::string_view kRemoting = "VEK remoting";
constexpr std::string_view kQueued = "Message is added to queue";
constexpr std::string_view kSkipped = "Processing of message is skipped";
constexpr std::string_view kTaken = "[ASYNC] Processing message from queue";

// What the trace says of a message that is not checked, and how it is called in the table.
struct Reason {
    std::string_view line;  // a part of it
    std::string_view note;
};
constexpr std::array kReasons = {
    Reason{"OnNewMailEx no need to check", "not wanted on delivery"},
    Reason{"OnDelivery no need to check", "not wanted on delivery"},
    Reason{"OnItemSend: No need to check on send", "not wanted on send"},
    Reason{"No need to check on read", "not wanted on read"},
    Reason{"Item read is already processing", "within a read"},
    Reason{"Item send is already processing", "within a send"},
    Reason{"Item add is already processing", "within an add"},
    Reason{"Message just created", "just created"},
    Reason{"message is not saved, exiting", "not saved"},
    Reason{"currently processed in background", "in background now"},
    Reason{"was recently checked on read", "recently checked"},
    Reason{"Message is already present in queue", "queued already"},
    Reason{"Message is being processed now", "in background now"},
    Reason{"Async processor exiting, message not added", "Outlook is closing"},
    Reason{"MAPI EDK not initialized", "no MAPI in background"},
    Reason{kSkipped, "plug-in is off"},
};

bool IsIn(std::string_view text, std::string_view part) { return text.find(part) != text.npos; }

void AddOnce(std::vector<std::string>& texts, std::string_view text) {
    if (std::ranges::find(texts, text) == texts.end()) texts.emplace_back(text);
}

std::chrono::microseconds Since(Scoreboard::Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::microseconds>(Scoreboard::Clock::now() - start);
}

}  // namespace

std::size_t Scoreboard::Begin(std::string event, std::string entry_id) {
    const std::lock_guard lock(mutex_);
    outlook_thread_ = vek::platform::CurrentThreadId();
    Row row;
    row.event = std::move(event);
    row.entry_id = std::move(entry_id);
    row.at = Since(start_);
    row.depth = static_cast<int>(open_.size());
    rows_.push_back(std::move(row));
    open_.push_back(first_ + rows_.size() - 1);
    return open_.back();
}

void Scoreboard::End(std::size_t row, std::string entry_id) {
    const std::lock_guard lock(mutex_);
    Row& ended = rows_[row - first_];
    ended.held = Since(start_) - ended.at;
    if (!entry_id.empty()) ended.entry_id = std::move(entry_id);
    std::erase(open_, row);
}

Row* Scoreboard::RowOf(std::uint32_t thread) {
    const auto kept = [&](std::size_t row) {
        return row < first_ ? nullptr : &rows_[row - first_];
    };
    if (thread == outlook_thread_) return open_.empty() ? nullptr : kept(open_.back());
    if (thread == background_thread_) return in_hand_ ? kept(*in_hand_) : nullptr;
    // The worker of a check, if there is but one.
    if (outlook_checks_ != 0 && !in_hand_ && !open_.empty()) return kept(open_.back());
    if (outlook_checks_ == 0 && in_hand_) return kept(*in_hand_);
    return nullptr;
}

int* Scoreboard::ChecksOf(std::uint32_t thread) {
    if (thread == outlook_thread_) return &outlook_checks_;
    return thread == background_thread_ ? &background_checks_ : nullptr;
}

void Scoreboard::NoteFailure(std::uint32_t thread, Row* row, std::string_view text) {
    if (const int* const checks = ChecksOf(thread)) {
        // What fails on the message's thread within a check is an answer to the scanner, which
        // knows what to make of it: a missing property is one.
        if (*checks == 0) AddOnce(row != nullptr ? row->failures : other_failures_, text);
        return;
    }
    // The remoting's threads tell of a connection that is lost, not of a check.
    if (text.starts_with(kRemoting) || (outlook_checks_ == 0 && background_checks_ == 0)) {
        AddOnce(other_failures_, text);
    } else if (row != nullptr) {
        AddOnce(row->failures, text);
        row->failing = true;
    } else {
        worker_failures_.emplace_back(text);
    }
}

void Scoreboard::EndCheck(Row* row) {
    if (row == nullptr) return;
    if (!worker_failures_.empty()) {
        AddOnce(row->failures, worker_failures_.front());
        worker_failures_.erase(worker_failures_.begin());
        row->failing = true;
    }
    row->failed_checks += row->failing;
    row->failing = false;
}

void Scoreboard::Note(std::uint32_t thread, vek::trace::level_t line_level, std::string_view text) {
    const std::lock_guard lock(mutex_);
    if (text.starts_with("[ASYNC]")) {
        if (thread != outlook_thread_) {
            background_thread_ = thread;
            if (!IsIn(text, kSkipped)) in_hand_.reset();
        }
        if (IsIn(text, kTaken) && !queue_.empty()) {
            in_hand_ = queue_.front();
            queue_.pop_front();
        }
    }
    Row* const row = RowOf(thread);
    if (line_level <= level::kError) {
        if (line_level == level::kError) NoteFailure(thread, row, text);
        return;
    }
    int* const checks = ChecksOf(thread);
    if (checks != nullptr && text.starts_with(kCheckEnds)) {
        --*checks;
        EndCheck(row);
    }
    if (checks != nullptr && text.starts_with(kCheckBegins)) {
        ++*checks;
        if (row == nullptr) return;
        ++row->checks;
        row->in_background |= thread == background_thread_;
    } else if (row == nullptr) {
        return;
    } else if (IsIn(text, kQueued)) {
        row->queued = true;
        queue_.push_back(open_.back());
    } else if (!row->queued || thread != outlook_thread_) {
        for (const Reason& reason : kReasons)
            if (IsIn(text, reason.line)) return AddOnce(row->notes, reason.note);
    }
}

bool Scoreboard::IsIdle() const {
    const std::lock_guard lock(mutex_);
    return queue_.empty() && !in_hand_;
}

std::size_t Scoreboard::queued() const {
    const std::lock_guard lock(mutex_);
    return queue_.size();
}

void Scoreboard::DropQueue(const std::string& reason) {
    const std::lock_guard lock(mutex_);
    for (const std::size_t row : queue_)
        if (row >= first_) AddOnce(rows_[row - first_].notes, reason);
    queue_.clear();
    // The background thread has ended, and its id may be another's soon.
    in_hand_.reset();
    background_thread_ = 0;
    background_checks_ = 0;
}

std::vector<Row> Scoreboard::rows() const {
    const std::lock_guard lock(mutex_);
    return {rows_.begin(), rows_.end()};
}

std::vector<std::string> Scoreboard::other_failures() const {
    const std::lock_guard lock(mutex_);
    return other_failures_;
}

void Scoreboard::Clear() {
    const std::lock_guard lock(mutex_);
    first_ += rows_.size();
    rows_.clear();
    other_failures_.clear();
}

bool WatchingTracer::IsEnabled(vek::trace::level_t line_level) const noexcept {
    return line_level <= level::kDetail || vek::trace::IsEnabled(next_, line_level);
}

void WatchingTracer::Write(vek::trace::level_t line_level, std::string_view text) noexcept {
    try {
        scoreboard_.Note(vek::platform::CurrentThreadId(), line_level, text);
    } catch (...) {  // NOLINT(bugprone-empty-catch): a line that is not noted changes no event
    }
    if (vek::trace::IsEnabled(next_, line_level)) next_->Write(line_level, text);
}

}  // namespace sandbox::demo
