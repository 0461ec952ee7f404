#pragma once

#include <memory>

#include "sandbox/outlook/message_record.h"
#include "sandbox/outlook/open_message.h"
#include "sandbox/outlook/property_object.h"

namespace sandbox::outlook {

// An open attachment: a working copy whose save reaches the open message, and the store with the
// message's save. PR_ATTACH_DATA_OBJ opens as an embedded message, or as the
// storage of an OLE object, which is for reading.
class OpenAttachment final : public PropertyObject<IAttach, iid::kAttachment> {
public:
    enum class Kind { kExisting, kNew };

    OpenAttachment(std::shared_ptr<Runtime> runtime, vek::RefPtr<OpenMessage> message,
                   AttachmentRecord record, Kind kind, Access access,
                   std::shared_ptr<void> open_mark);

    // An embedded message's save.
    HRESULT PutMessage(std::shared_ptr<const MessageRecord> message);

    std::optional<PropertyValue> Get(ULONG tag) const final;
    std::vector<ULONG> Tags() const final;
    HRESULT Put(ULONG tag, std::optional<PropertyValue> value) final;
    HRESULT Save(ULONG flags) final;
    ULONG StreamTag(ULONG tag) const final;
    HRESULT OpenOther(ULONG tag, REFIID id, ULONG flags, IUnknown** out) final;

private:
    HRESULT OpenEmbedded(ULONG flags, IUnknown** out);
    HRESULT OpenOleStorage(ULONG flags, IUnknown** out);
    bool HasMethod(ULONG method) const;

    const vek::RefPtr<OpenMessage> message_;
    AttachmentRecord record_;
    Kind kind_;
    const std::shared_ptr<void> open_mark_;
};

}  // namespace sandbox::outlook
