#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/outlook/message_record.h"

namespace sandbox::outlook {

// The saved messages and address book entries, by entry id (bytes). Changes of an open message
// arrive here when it is saved. Free-threaded.
class MessageStore {
public:
    using Saved = std::shared_ptr<const MessageRecord>;

    // Stores a new message and gives its entry id: the one that it brings if that is free, else a
    // new one.
    std::string Add(MessageRecord message);

    // Stores a message under `entry_id`, in place of an earlier one. The entries that it brings
    // join the address book.
    void Put(std::string entry_id, MessageRecord message);

    // The same, but only if `expected` is still stored there (null for no message).
    bool PutIf(const std::string& entry_id, const Saved& expected, Saved message);

    bool Remove(std::string_view entry_id);

    // The message saved under that id, unaffected by later saves. Null when there is none.
    Saved Find(std::string_view entry_id) const;

    std::vector<std::string> EntryIds() const;

    // An entry of the address book, usually with PR_SMTP_ADDRESS.
    void PutUser(std::string entry_id, PropertyBag properties);
    std::shared_ptr<const PropertyBag> FindUser(std::string_view entry_id) const;

    // An id for an entry to come.
    std::string NewEntryId();

private:
    mutable std::mutex mutex_;
    std::uint32_t last_id_ = 0;
    std::map<std::string, Saved, std::less<>> messages_;
    std::map<std::string, std::shared_ptr<const PropertyBag>, std::less<>> users_;
};

}  // namespace sandbox::outlook
