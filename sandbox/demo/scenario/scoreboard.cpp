#include "sandbox/demo/scenario/scoreboard.h"

#include <algorithm>

#include "vek/core/result_text.h"

namespace sandbox::demo {
namespace {

using plugins::mail_processing::SkipReason;

constexpr std::size_t kNoRow = static_cast<std::size_t>(-1);

const char* InWords(SkipReason reason) {
    switch (reason) {
        case SkipReason::kNotWanted:
            return "not wanted";
        case SkipReason::kReadInProgress:
            return "within a read";
        case SkipReason::kSendInProgress:
            return "within a send";
        case SkipReason::kAddInProgress:
            return "within an add";
        case SkipReason::kInBackground:
            return "in background now";
        case SkipReason::kRecentlyChecked:
            return "recently checked";
        case SkipReason::kJustCreated:
            return "just created";
        case SkipReason::kNotNew:
            return "not new";
        case SkipReason::kNotSaved:
            return "not saved";
        case SkipReason::kNoEntryId:
            return "no entry id";
        case SkipReason::kAlreadyQueued:
            return "queued already";
        case SkipReason::kClosing:
            return "Outlook is closing";
        case SkipReason::kNoMapi:
            return "no MAPI in background";
        case SkipReason::kPluginDisabled:
            return "plug-in is off";
        case SkipReason::kFailed:
            break;
    }
    return "failed";
}

void AddOnce(std::vector<std::string>& texts, std::string text) {
    if (std::ranges::find(texts, text) == texts.end()) texts.push_back(std::move(text));
}

std::string TextOf(vek::result_t code) {
    std::string text;
    vek::AppendResult(text, code);
    return text;
}

}  // namespace

std::chrono::microseconds Scoreboard::Now() const {
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start_);
}

std::size_t Scoreboard::Begin(std::string event, std::string entry_id) {
    const std::lock_guard lock(mutex_);
    Row row;
    row.event = std::move(event);
    row.entry_id = std::move(entry_id);
    row.at = Now();
    row.depth = static_cast<int>(open_.size());
    rows_.push_back(std::move(row));
    open_.push_back(first_ + rows_.size() - 1);
    return open_.back();
}

void Scoreboard::End(std::size_t row, std::string entry_id) {
    const std::lock_guard lock(mutex_);
    Row& ended = rows_[row - first_];
    ended.held = Now() - ended.at;
    if (!entry_id.empty()) ended.entry_id = std::move(entry_id);
    std::erase(open_, row);
}

Scoreboard::OpenCheck& Scoreboard::Find(const ObservedCheck& check) {
    const OpenCheck innermost{open_.empty() ? kNoRow : open_.back(), false};
    return checks_.try_emplace(check.number, innermost).first->second;
}

Row& Scoreboard::RowOf(const OpenCheck& check) {
    return check.row == kNoRow || check.row < first_ ? elsewhere_ : rows_[check.row - first_];
}

void Scoreboard::OnQueued(const ObservedCheck& check) noexcept {
    const std::lock_guard lock(mutex_);
    OpenCheck& found = Find(check);
    found.queued = true;
    RowOf(found).queued = true;
}

void Scoreboard::OnBegun(const ObservedCheck& check) noexcept {
    const std::lock_guard lock(mutex_);
    const OpenCheck& found = Find(check);
    Row& row = RowOf(found);
    ++row.checks;
    row.in_background |= found.queued;
}

void Scoreboard::OnEnded(const ObservedCheck& check, vek::result_t code) noexcept {
    const std::lock_guard lock(mutex_);
    Row& row = RowOf(Find(check));
    if (vek::Failed(code)) {
        ++row.failed_checks;
        AddOnce(row.failures, TextOf(code));
    }
    checks_.erase(check.number);
}

void Scoreboard::OnSkipped(const ObservedCheck& check, SkipReason reason,
                           vek::result_t code) noexcept {
    const std::lock_guard lock(mutex_);
    const OpenCheck& found = Find(check);
    Row& row = RowOf(found);
    if (reason == SkipReason::kFailed) {
        AddOnce(row.failures, TextOf(code));
    } else if (found.queued || !row.queued) {
        // Otherwise the message was announced once more by the event that has queued it.
        AddOnce(row.notes, InWords(reason));
    }
    checks_.erase(check.number);
}

bool Scoreboard::IsIdle() const {
    const std::lock_guard lock(mutex_);
    return std::ranges::none_of(checks_, [](const auto& each) { return each.second.queued; });
}

std::vector<Row> Scoreboard::rows() const {
    const std::lock_guard lock(mutex_);
    return {rows_.begin(), rows_.end()};
}

void Scoreboard::Clear() {
    const std::lock_guard lock(mutex_);
    first_ += rows_.size();
    rows_.clear();
}

}  // namespace sandbox::demo
