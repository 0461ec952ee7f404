#include "processing/message_queue.h"

#include <stdexcept>
#include <utility>

namespace plugins::mail_processing {

bool MessageQueue::Append(std::u16string_view entry_id, check_number_t number) {
    if (ids_.contains(entry_id)) return false;
    if (messages_.size() >= max_size_) throw std::length_error("list<T> too long");
    const QueuedMessage& kept =
        messages_.emplace_back(QueuedMessage{std::u16string(entry_id), number});
    try {
        ids_.insert(kept.entry_id);
    } catch (...) {
        messages_.pop_back();
        throw;
    }
    return true;
}

std::optional<QueuedMessage> MessageQueue::Take() {
    if (messages_.empty()) return std::nullopt;
    ids_.erase(messages_.front().entry_id);
    std::optional<QueuedMessage> first(std::move(messages_.front()));
    messages_.pop_front();
    return first;
}

}  // namespace plugins::mail_processing
