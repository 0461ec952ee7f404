#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "processing/check_observer.h"

namespace plugins::mail_processing {

// A message that waits for its check.
struct QueuedMessage {
    std::u16string entry_id;
    check_number_t number = 0;
};

// Messages in the order of their arrival, each once: entry ids are compared whole, case-sensitive.
// Every operation takes constant time. Not thread-safe.
class MessageQueue {
public:
    explicit MessageQueue(std::size_t max_size = std::deque<QueuedMessage>().max_size()) noexcept
        : max_size_(max_size) {}
    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;

    // Returns false when the id is in the queue already. Raises std::length_error when it is full.
    bool Append(std::u16string_view entry_id, check_number_t number = 0);

    // Removes the first message and gives it; nothing when the queue is empty.
    std::optional<QueuedMessage> Take();

    std::size_t size() const noexcept { return messages_.size(); }

private:
    const std::size_t max_size_;
    std::deque<QueuedMessage> messages_;           // each stays where it is until it is taken
    std::unordered_set<std::u16string_view> ids_;  // in messages_
};

}  // namespace plugins::mail_processing
