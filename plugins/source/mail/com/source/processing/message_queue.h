#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

namespace plugins::mail_processing {

// Entry ids in the order of their arrival, each once; compared as whole strings, case-sensitive.
// Every operation takes constant time. Not thread-safe.
class MessageQueue {
public:
    explicit MessageQueue(std::size_t max_size = std::deque<std::u16string>().max_size()) noexcept
        : max_size_(max_size) {}
    // The views refer to the ids.
    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;

    // False when the id is there already. Raises std::length_error in a full queue.
    bool Append(std::u16string_view entry_id);

    // The first, which is no longer in the queue then.
    std::optional<std::u16string> Take();

    std::size_t size() const noexcept { return ids_.size(); }

private:
    const std::size_t max_size_;
    std::deque<std::u16string> ids_;  // stay where they are until they are taken
    std::unordered_set<std::u16string_view> known_;
};

}  // namespace plugins::mail_processing
