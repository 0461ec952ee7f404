#include "sandbox/outlook/message_store.h"

#include <utility>

#include "mapi/property_tags.h"

namespace sandbox::outlook {

std::string MessageStore::Add(MessageRecord message) {
    const PropertyValue* const own = message.properties.Find(plugins::mapi::tag::kEntryId);
    std::string entry_id = own != nullptr && own->Size() != 0 && Find(*own->content()) == nullptr
                               ? *own->content()
                               : NewEntryId();
    Put(entry_id, std::move(message));
    return entry_id;
}

void MessageStore::Put(std::string entry_id, MessageRecord message) {
    for (const PropertyBag& entry : message.address_book) {
        const PropertyValue* const id = entry.Find(plugins::mapi::tag::kEntryId);
        if (id != nullptr) PutUser(*id->content(), entry);
    }
    auto saved = std::make_shared<const MessageRecord>(std::move(message));
    const std::lock_guard lock(mutex_);
    messages_.insert_or_assign(std::move(entry_id), std::move(saved));
}

bool MessageStore::PutIf(const std::string& entry_id, const Saved& expected, Saved message) {
    const std::lock_guard lock(mutex_);
    const auto found = messages_.find(entry_id);
    if ((found == messages_.end() ? nullptr : found->second) != expected) return false;
    messages_.insert_or_assign(entry_id, std::move(message));
    return true;
}

bool MessageStore::Remove(std::string_view entry_id) {
    const std::lock_guard lock(mutex_);
    const auto found = messages_.find(entry_id);
    if (found == messages_.end()) return false;
    messages_.erase(found);
    return true;
}

MessageStore::Saved MessageStore::Find(std::string_view entry_id) const {
    const std::lock_guard lock(mutex_);
    const auto found = messages_.find(entry_id);
    return found == messages_.end() ? nullptr : found->second;
}

std::vector<std::string> MessageStore::EntryIds() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> ids;
    ids.reserve(messages_.size());
    for (const auto& [id, message] : messages_) ids.push_back(id);
    return ids;
}

void MessageStore::PutUser(std::string entry_id, PropertyBag properties) {
    auto user = std::make_shared<const PropertyBag>(std::move(properties));
    const std::lock_guard lock(mutex_);
    users_.insert_or_assign(std::move(entry_id), std::move(user));
}

std::shared_ptr<const PropertyBag> MessageStore::FindUser(std::string_view entry_id) const {
    const std::lock_guard lock(mutex_);
    const auto found = users_.find(entry_id);
    return found == users_.end() ? nullptr : found->second;
}

std::string MessageStore::NewEntryId() {
    // Four bytes of flags, as every entry id has them, a mark of this store, and a number.
    const std::string_view start("\0\0\0\0MLXO", 8);
    std::string id;
    const std::lock_guard lock(mutex_);
    do {
        id = start;
        ++last_id_;
        for (int shift = 24; shift >= 0; shift -= 8)
            id.push_back(static_cast<char>(last_id_ >> shift));
    } while (messages_.contains(id));
    return id;
}

}  // namespace sandbox::outlook
