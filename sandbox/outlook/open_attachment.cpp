#include "sandbox/outlook/open_attachment.h"

#include <utility>

#include "mapi/property_tags.h"
#include "sandbox/outlook/compound_file.h"

namespace sandbox::outlook {
namespace {

namespace tag = plugins::mapi::tag;

class AttachmentHome final : public MessageHome {
public:
    explicit AttachmentHome(vek::RefPtr<OpenAttachment> attachment)
        : attachment_(std::move(attachment)) {}

    HRESULT Save(const MessageRecord& message, ULONG) override {
        return attachment_->PutMessage(std::make_shared<const MessageRecord>(message));
    }
    const std::string& entry_id() const override { return none_; }

private:
    const vek::RefPtr<OpenAttachment> attachment_;
    const std::string none_;  // a message inside another has no entry id
};

}  // namespace

OpenAttachment::OpenAttachment(std::shared_ptr<Runtime> runtime, vek::RefPtr<OpenMessage> message,
                               AttachmentRecord record, Kind kind, Access access,
                               std::shared_ptr<void> open_mark)
    : PropertyObject(std::move(runtime), access),
      message_(std::move(message)),
      record_(std::move(record)),
      kind_(kind),
      open_mark_(std::move(open_mark)) {}

HRESULT OpenAttachment::PutMessage(std::shared_ptr<const MessageRecord> message) {
    if (access() != Access::kReadWrite) return MAPI_E_NO_ACCESS;
    record_.message = std::move(message);
    return S_OK;
}

std::optional<PropertyValue> OpenAttachment::Get(ULONG wanted) const {
    return GetProperty(record_, wanted);
}

std::vector<ULONG> OpenAttachment::Tags() const {
    return PropertyTags(record_.properties, {tag::kAttachNum, tag::kAttachSize});
}

HRESULT OpenAttachment::Put(ULONG changed, std::optional<PropertyValue> value) {
    if (access() != Access::kReadWrite) return MAPI_E_NO_ACCESS;
    if (IsComputedOfAttachment(changed)) return MAPI_E_COMPUTED;
    return PutInto(record_.properties, changed, std::move(value));
}

HRESULT OpenAttachment::Save(ULONG flags) {
    if (access() != Access::kReadWrite) return MAPI_E_NO_ACCESS;
    const HRESULT code = message_->SaveAttachment(record_, kind_ == Kind::kNew);
    if (FAILED(code)) return code;
    kind_ = Kind::kExisting;
    set_access(AccessAfterSave(flags));
    return S_OK;
}

ULONG OpenAttachment::StreamTag(ULONG wanted) const {
    if (PROP_ID(wanted) != PROP_ID(tag::kAttachDataObj) || !HasMethod(ATTACH_OLE)) return wanted;
    if (record_.storage != nullptr) return tag::kAttachDataObj;  // which is no stream
    return record_.binary_only ? wanted : tag::kAttachDataBin;
}

HRESULT OpenAttachment::OpenOther(ULONG wanted, REFIID id, ULONG flags, IUnknown** out) {
    if (wanted != tag::kAttachDataObj) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    const bool message = id == iid::kMessage || id == iid::kProp || id == iid::kUnknown;
    if (message && HasMethod(ATTACH_EMBEDDED_MSG)) return OpenEmbedded(flags, out);
    if (id == iid::kStorage && HasMethod(ATTACH_OLE)) return OpenOleStorage(flags, out);
    return MAPI_E_INTERFACE_NOT_SUPPORTED;
}

HRESULT OpenAttachment::OpenOleStorage(ULONG flags, IUnknown** out) {
    if ((flags & (MAPI_MODIFY | MAPI_CREATE)) != 0) return MAPI_E_NO_ACCESS;
    if (record_.storage == nullptr) return MAPI_E_NOT_FOUND;
    vek::RefPtr<IStorage> storage;
    const HRESULT code = OpenStorage(runtime(), *record_.storage, storage.put());
    return SUCCEEDED(code) ? GiveTo(out, std::move(storage)) : code;
}

HRESULT OpenAttachment::OpenEmbedded(ULONG flags, IUnknown** out) {
    if ((flags & (MAPI_MODIFY | MAPI_CREATE)) != 0 && access() != Access::kReadWrite)
        return MAPI_E_NO_ACCESS;
    const bool creating = (flags & MAPI_CREATE) != 0;
    if (record_.message == nullptr && !creating) return MAPI_E_NOT_FOUND;
    MessageRecord record = creating ? MessageRecord{} : *record_.message;
    auto home = std::make_unique<AttachmentHome>(vek::RefPtr<OpenAttachment>::Share(this));
    const Access inside = creating ? Access::kReadWrite : AccessFor(flags, access());
    return GiveTo(
        out, vek::MakeObject<OpenMessage>(runtime(), std::move(home), std::move(record), inside));
}

bool OpenAttachment::HasMethod(ULONG method) const {
    const PropertyValue* const value = record_.properties.Find(tag::kAttachMethod);
    return value != nullptr && value->number() == static_cast<std::int64_t>(method);
}

}  // namespace sandbox::outlook
