#include "processing/message_queue.h"

#include <stdexcept>
#include <utility>

namespace plugins::mail_processing {

bool MessageQueue::Append(std::u16string_view entry_id) {
    if (known_.contains(entry_id)) return false;
    if (ids_.size() >= max_size_) throw std::length_error("list<T> too long");
    const std::u16string& kept = ids_.emplace_back(entry_id);
    try {
        known_.insert(kept);
    } catch (...) {
        ids_.pop_back();
        throw;
    }
    return true;
}

std::optional<std::u16string> MessageQueue::Take() {
    if (ids_.empty()) return std::nullopt;
    known_.erase(ids_.front());
    std::optional<std::u16string> first(std::move(ids_.front()));
    ids_.pop_front();
    return first;
}

}  // namespace plugins::mail_processing
