#include "sandbox/outlook/message_record.h"

#include <algorithm>
#include <limits>
#include <string>

#include "mapi/property_tags.h"
#include "sandbox/outlook/store_traits.h"

namespace sandbox::outlook {
namespace {

namespace tag = plugins::mapi::tag;

std::optional<PropertyValue> Kept(const PropertyBag& properties, ULONG wanted) {
    const PropertyValue* const value = properties.Find(wanted);
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

std::size_t SizeOf(const PropertyBag& properties) {
    std::size_t size = 0;
    for (const auto& [kept, value] : properties) size += value.Size();
    return size;
}

std::size_t SizeOf(const MessageRecord& message);

std::size_t SizeOf(const AttachmentRecord& attachment) {
    return SizeOf(attachment.properties) +
           (attachment.message != nullptr ? SizeOf(*attachment.message) : 0) +
           (attachment.storage != nullptr ? SizeOf(*attachment.storage) : 0);
}

std::size_t SizeOf(const MessageRecord& message) {
    std::size_t size = SizeOf(message.properties);
    for (const PropertyBag& recipient : message.recipients) size += SizeOf(recipient);
    for (const AttachmentRecord& attachment : message.attachments) size += SizeOf(attachment);
    return size;
}

PropertyValue SizeValue(std::size_t size) {
    constexpr std::size_t kLargest = std::numeric_limits<std::int32_t>::max();
    return PropertyValue::Long(static_cast<std::int32_t>(std::min(size, kLargest)));
}

}  // namespace

AttachmentRecord& MessageRecord::AddAttachment(PropertyBag attachment_properties) {
    return attachments.emplace_back(
        AttachmentRecord{next_number++, std::move(attachment_properties)});
}

AttachmentRecord* MessageRecord::FindAttachment(ULONG number) {
    const auto found = std::lower_bound(
        attachments.begin(), attachments.end(), number,
        [](const AttachmentRecord& record, ULONG wanted) { return record.number < wanted; });
    return found != attachments.end() && found->number == number ? &*found : nullptr;
}

std::optional<PropertyValue> GetProperty(const AttachmentRecord& attachment, ULONG wanted) {
    switch (wanted) {
        case tag::kAttachNum:
            return PropertyValue::Long(static_cast<std::int32_t>(attachment.number));
        case tag::kAttachSize:
            return SizeValue(SizeOf(attachment));
        default:
            return Kept(attachment.properties, wanted);
    }
}

std::optional<PropertyValue> GetProperty(const MessageRecord& message, std::string_view entry_id,
                                         ULONG wanted) {
    switch (wanted) {
        case tag::kHasAttach:
            return PropertyValue::Boolean(!message.attachments.empty());
        case tag::kEntryId:
            if (entry_id.empty()) return std::nullopt;
            return PropertyValue::Binary(std::string(entry_id));
        case tag::kHtml: {
            const PropertyValue* const html = message.properties.Find(tag::kBodyHtmlA);
            if (html == nullptr) return std::nullopt;
            return PropertyValue::Binary(html->content());
        }
        case tag::kInternetCodePage:
            return PropertyValue::Long(StoreTraits::kUtf8);
        default:
            return Kept(message.properties, wanted);
    }
}

bool IsComputedOfAttachment(ULONG wanted) {
    return wanted == tag::kAttachNum || wanted == tag::kAttachSize;
}

bool IsComputedOfMessage(ULONG wanted) {
    return wanted == tag::kHasAttach || wanted == tag::kEntryId || wanted == tag::kInternetCodePage;
}

std::vector<ULONG> PropertyTags(const PropertyBag& kept, std::initializer_list<ULONG> computed) {
    std::vector<ULONG> tags(computed);
    for (const auto& [tag_of_value, value] : kept) {
        if (std::find(computed.begin(), computed.end(), tag_of_value) == computed.end())
            tags.push_back(tag_of_value);
    }
    return tags;
}

}  // namespace sandbox::outlook
