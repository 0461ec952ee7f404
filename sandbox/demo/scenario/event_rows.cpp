#include "sandbox/demo/scenario/event_rows.h"

#include <algorithm>
#include <utility>

namespace sandbox::demo {

void AddOnce(std::vector<std::string>& texts, std::string text) {
    if (std::ranges::find(texts, text) == texts.end()) texts.push_back(std::move(text));
}

std::chrono::microseconds EventRows::Now() const {
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start_);
}

std::size_t EventRows::Begin(std::string event, std::string entry_id) {
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

void EventRows::End(std::size_t row, std::string entry_id) {
    const std::lock_guard lock(mutex_);
    Row& ended = rows_[row - first_];
    ended.held = Now() - ended.at;
    if (!entry_id.empty()) ended.entry_id = std::move(entry_id);
    std::erase(open_, row);
}

std::vector<Row> EventRows::rows() const {
    const std::lock_guard lock(mutex_);
    return {rows_.begin(), rows_.end()};
}

void EventRows::Clear() {
    const std::lock_guard lock(mutex_);
    first_ += rows_.size();
    rows_.clear();
}

}  // namespace sandbox::demo
