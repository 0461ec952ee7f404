#include "sandbox/outlook/open_message.h"

#include <algorithm>
#include <utility>

#include "mapi/property_tags.h"
#include "sandbox/outlook/open_attachment.h"
#include "sandbox/outlook/table.h"

namespace sandbox::outlook {
namespace {

namespace tag = plugins::mapi::tag;

class AttachmentRows final : public TableRows {
public:
    explicit AttachmentRows(vek::RefPtr<OpenMessage> message) : message_(std::move(message)) {}

    std::size_t Count() const override { return records().size(); }
    ULONG Key(std::size_t row) const override { return records()[row].number; }
    std::optional<PropertyValue> Get(std::size_t row, ULONG wanted) const override {
        return GetProperty(records()[row], wanted);
    }
    std::vector<ULONG> StandardColumns() const override {
        return {tag::kAttachNum, tag::kAttachSize, tag::kAttachMethod,
                KeptTag(tag::kAttachFilenameA), KeptTag(tag::kAttachLongFilenameA)};
    }

private:
    const std::vector<AttachmentRecord>& records() const { return message_->record().attachments; }

    const vek::RefPtr<OpenMessage> message_;
};

class RecipientRows final : public TableRows {
public:
    explicit RecipientRows(vek::RefPtr<OpenMessage> message) : message_(std::move(message)) {}

    std::size_t Count() const override { return message_->record().recipients.size(); }
    ULONG Key(std::size_t row) const override { return static_cast<ULONG>(row); }
    std::optional<PropertyValue> Get(std::size_t row, ULONG wanted) const override {
        const PropertyValue* const value = message_->record().recipients[row].Find(wanted);
        return value != nullptr ? std::optional(*value) : std::nullopt;
    }
    std::vector<ULONG> StandardColumns() const override {
        return {tag::kRecipientType, KeptTag(tag::kDisplayNameA), KeptTag(tag::kAddrTypeA),
                KeptTag(tag::kEmailAddressA)};
    }

private:
    const vek::RefPtr<OpenMessage> message_;
};

class StoreHome final : public MessageHome {
public:
    StoreHome(std::shared_ptr<MessageStore> store, std::string entry_id, MessageStore::Saved opened)
        : store_(std::move(store)), entry_id_(std::move(entry_id)), saved_(std::move(opened)) {}

    // Without FORCE_SAVE, what another has saved since is not overwritten.
    HRESULT Save(const MessageRecord& message, ULONG flags) override {
        auto next = std::make_shared<const MessageRecord>(message);
        std::string id = entry_id_.empty() ? store_->NewEntryId() : entry_id_;
        MessageStore::Saved now = store_->Find(id);
        if (saved_ != nullptr && now == nullptr) return MAPI_E_OBJECT_DELETED;
        if ((flags & FORCE_SAVE) != 0) saved_ = std::move(now);
        if (!store_->PutIf(id, saved_, next)) return MAPI_E_OBJECT_CHANGED;
        saved_ = std::move(next);
        entry_id_ = std::move(id);
        return S_OK;
    }

    const std::string& entry_id() const override { return entry_id_; }

private:
    const std::shared_ptr<MessageStore> store_;
    std::string entry_id_;
    MessageStore::Saved saved_;  // as it was opened or last saved here
};

}  // namespace

OpenMessage::OpenMessage(std::shared_ptr<Runtime> runtime, std::unique_ptr<MessageHome> home,
                         MessageRecord record, Access access)
    : PropertyObject(std::move(runtime), access),
      home_(std::move(home)),
      record_(std::move(record)) {}

HRESULT OpenMessage::GetAttachmentTable(ULONG flags, IMAPITable** table) {
    return EnterOpen(Call::kGetAttachmentTable, [&]() -> HRESULT {
        if (table == nullptr) return MAPI_E_INVALID_PARAMETER;
        if ((flags & ~MAPI_UNICODE) != 0) return MAPI_E_UNKNOWN_FLAGS;
        auto rows = std::make_unique<AttachmentRows>(vek::RefPtr<OpenMessage>::Share(this));
        return GiveTo(table, vek::MakeObject<Table>(runtime(), std::move(rows), flags));
    });
}

HRESULT OpenMessage::GetRecipientTable(ULONG flags, IMAPITable** table) {
    return EnterOpen(Call::kGetRecipientTable, [&]() -> HRESULT {
        if (table == nullptr) return MAPI_E_INVALID_PARAMETER;
        if ((flags & ~MAPI_UNICODE) != 0) return MAPI_E_UNKNOWN_FLAGS;
        auto rows = std::make_unique<RecipientRows>(vek::RefPtr<OpenMessage>::Share(this));
        return GiveTo(table, vek::MakeObject<Table>(runtime(), std::move(rows), flags));
    });
}

HRESULT OpenMessage::OpenAttach(ULONG number, const IID* id, ULONG flags, IAttach** attachment) {
    return EnterOpen(Call::kOpenAttach, [&]() -> HRESULT {
        if (attachment == nullptr) return MAPI_E_INVALID_PARAMETER;
        *attachment = nullptr;
        if (runtime()->Refuses(flags, kOpenFlags)) return MAPI_E_UNKNOWN_FLAGS;
        if (id != nullptr && !(*id == iid::kAttachment) && !(*id == iid::kProp))
            return MAPI_E_INTERFACE_NOT_SUPPORTED;
        if ((flags & MAPI_MODIFY) != 0 && access() != Access::kReadWrite) return MAPI_E_NO_ACCESS;
        const AttachmentRecord* const record = record_.FindAttachment(number);
        if (record == nullptr) return MAPI_E_NOT_FOUND;
        return GiveTo(attachment, vek::MakeObject<OpenAttachment>(
                                      runtime(), vek::RefPtr<OpenMessage>::Share(this), *record,
                                      OpenAttachment::Kind::kExisting, AccessFor(flags, access()),
                                      NoteOpen(number)));
    });
}

HRESULT OpenMessage::CreateAttach(const IID* id, ULONG flags, ULONG* number, IAttach** attachment) {
    return EnterOpen(Call::kCreateAttach, [&]() -> HRESULT {
        if (number == nullptr || attachment == nullptr) return MAPI_E_INVALID_PARAMETER;
        *attachment = nullptr;
        if (runtime()->Refuses(flags, MAPI_DEFERRED_ERRORS)) return MAPI_E_UNKNOWN_FLAGS;
        if (id != nullptr && !(*id == iid::kAttachment)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
        if (access() != Access::kReadWrite) return MAPI_E_NO_ACCESS;
        AttachmentRecord record{record_.next_number++, {}};
        *number = record.number;
        return GiveTo(attachment,
                      vek::MakeObject<OpenAttachment>(
                          runtime(), vek::RefPtr<OpenMessage>::Share(this), std::move(record),
                          OpenAttachment::Kind::kNew, Access::kReadWrite, NoteOpen(*number)));
    });
}

HRESULT OpenMessage::DeleteAttach(ULONG number, ULONG, IMAPIProgress*, ULONG flags) {
    return EnterOpen(Call::kDeleteAttach, [&]() -> HRESULT {
        constexpr ULONG kAttachDialog = 1;  // ATTACH_DIALOG
        if (runtime()->Refuses(flags, kAttachDialog)) return MAPI_E_UNKNOWN_FLAGS;
        if (access() != Access::kReadWrite) return MAPI_E_NO_ACCESS;
        const AttachmentRecord* const record = record_.FindAttachment(number);
        if (record == nullptr) return MAPI_E_NOT_FOUND;
        if (runtime()->traits().guards_attachments && open_attachments_->contains(number))
            return MAPI_E_NO_ACCESS;
        record_.attachments.erase(record_.attachments.begin() +
                                  (record - record_.attachments.data()));
        return S_OK;
    });
}

std::shared_ptr<void> OpenMessage::NoteOpen(ULONG number) {
    const auto place = open_attachments_->insert(number);
    return {nullptr, [open = open_attachments_, place](void*) { open->erase(place); }};
}

HRESULT OpenMessage::SaveAttachment(const AttachmentRecord& attachment, bool is_new) {
    if (access() != Access::kReadWrite) return MAPI_E_NO_ACCESS;
    if (AttachmentRecord* const there = record_.FindAttachment(attachment.number)) {
        *there = attachment;
        return S_OK;
    }
    if (!is_new) return MAPI_E_OBJECT_DELETED;
    const auto after = std::find_if(
        record_.attachments.begin(), record_.attachments.end(),
        [&](const AttachmentRecord& record) { return record.number > attachment.number; });
    record_.attachments.insert(after, attachment);
    return S_OK;
}

std::optional<PropertyValue> OpenMessage::Get(ULONG wanted) const {
    return GetProperty(record_, home_->entry_id(), wanted);
}

std::vector<ULONG> OpenMessage::Tags() const {
    if (home_->entry_id().empty()) return PropertyTags(record_.properties, {tag::kHasAttach});
    return PropertyTags(record_.properties, {tag::kHasAttach, tag::kEntryId});
}

HRESULT OpenMessage::Put(ULONG changed, std::optional<PropertyValue> value) {
    if (access() != Access::kReadWrite) return MAPI_E_NO_ACCESS;
    if (IsComputedOfMessage(changed)) return MAPI_E_COMPUTED;
    if (changed == tag::kHtml) {
        changed = tag::kBodyHtmlA;
        if (value) value = PropertyValue::Text(value->content());
    }
    return PutInto(record_.properties, changed, std::move(value));
}

HRESULT OpenMessage::Save(ULONG flags) {
    if (access() != Access::kReadWrite) return MAPI_E_NO_ACCESS;
    const HRESULT code = home_->Save(record_, flags);
    if (SUCCEEDED(code)) set_access(AccessAfterSave(flags));
    return code;
}

vek::RefPtr<OpenMessage> OpenStoredMessage(std::shared_ptr<Runtime> runtime,
                                           std::shared_ptr<MessageStore> store,
                                           std::string entry_id, ULONG flags) {
    MessageStore::Saved saved = store->Find(entry_id);
    if (saved == nullptr) return nullptr;
    auto home = std::make_unique<StoreHome>(std::move(store), std::move(entry_id), saved);
    return vek::MakeObject<OpenMessage>(std::move(runtime), std::move(home), *saved,
                                        AccessFor(flags, Access::kReadWrite));
}

vek::RefPtr<OpenMessage> NewStoredMessage(std::shared_ptr<Runtime> runtime,
                                          std::shared_ptr<MessageStore> store,
                                          MessageRecord record) {
    auto home = std::make_unique<StoreHome>(std::move(store), std::string(), nullptr);
    return vek::MakeObject<OpenMessage>(std::move(runtime), std::move(home), std::move(record),
                                        Access::kReadWrite);
}

}  // namespace sandbox::outlook
