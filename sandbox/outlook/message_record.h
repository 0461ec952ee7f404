#pragma once

#include <initializer_list>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "sandbox/outlook/property_bag.h"
#include "sandbox/outlook/storage_node.h"

namespace sandbox::outlook {

struct MessageRecord;

struct AttachmentRecord {
    ULONG number = 0;
    PropertyBag properties;
    std::shared_ptr<const MessageRecord> message = nullptr;  // of an embedded message only

    // Of an OLE object: its bytes open as PR_ATTACH_DATA_BIN alone, not as the object too.
    bool binary_only = false;
    // Of an OLE object that opens as a storage and as no stream.
    std::shared_ptr<const StorageNode> storage = nullptr;
};

// The content of one message: plain data, no objects.
struct MessageRecord {
    PropertyBag properties;
    std::vector<PropertyBag> recipients;
    std::vector<PropertyBag> address_book;      // what its entry ids lead to, by PR_ENTRYID
    std::vector<AttachmentRecord> attachments;  // their numbers ascend
    ULONG next_number = 0;                      // no attachment ever had it or a greater one

    // Appends an attachment with the next number.
    AttachmentRecord& AddAttachment(PropertyBag attachment_properties);

    AttachmentRecord* FindAttachment(ULONG number);
};

// The value of a property, kept or computed. Computed are an attachment's number and size (that of
// all its properties, an embedded message with its own), a message's entry id (it has none while
// `entry_id` is empty), whether it has attachments, and its HTML body as bytes, which are UTF-8.
std::optional<PropertyValue> GetProperty(const AttachmentRecord& attachment, ULONG tag);
std::optional<PropertyValue> GetProperty(const MessageRecord& message, std::string_view entry_id,
                                         ULONG tag);

bool IsComputedOfAttachment(ULONG tag);
bool IsComputedOfMessage(ULONG tag);

// Kept tags and the computed ones.
std::vector<ULONG> PropertyTags(const PropertyBag& kept, std::initializer_list<ULONG> computed);

}  // namespace sandbox::outlook
