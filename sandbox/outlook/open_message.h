#pragma once

#include <memory>
#include <set>
#include <string>

#include "sandbox/outlook/message_record.h"
#include "sandbox/outlook/message_store.h"
#include "sandbox/outlook/property_object.h"

namespace sandbox::outlook {

// Where an open message came from and is saved to.
class MessageHome {
public:
    virtual ~MessageHome() = default;
    virtual HRESULT Save(const MessageRecord& message, ULONG flags) = 0;
    // Empty while, or if, the message has none.
    virtual const std::string& entry_id() const = 0;
};

// An open message: a working copy that is saved as a whole.
class OpenMessage final : public PropertyObject<IMessage, iid::kMessage> {
public:
    OpenMessage(std::shared_ptr<Runtime> runtime, std::unique_ptr<MessageHome> home,
                MessageRecord record, Access access);

    HRESULT STDMETHODCALLTYPE GetAttachmentTable(ULONG flags, IMAPITable** table) final;
    HRESULT STDMETHODCALLTYPE OpenAttach(ULONG number, const IID* id, ULONG flags,
                                         IAttach** attachment) final;
    HRESULT STDMETHODCALLTYPE CreateAttach(const IID* id, ULONG flags, ULONG* number,
                                           IAttach** attachment) final;
    HRESULT STDMETHODCALLTYPE DeleteAttach(ULONG number, ULONG window, IMAPIProgress* progress,
                                           ULONG flags) final;
    HRESULT STDMETHODCALLTYPE GetRecipientTable(ULONG flags, IMAPITable** table) final;

    HRESULT STDMETHODCALLTYPE ModifyRecipients(ULONG, ADRLIST*) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE SubmitMessage(ULONG) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE SetReadFlag(ULONG) final { return Unsupported(); }

    // The working copy.
    const MessageRecord& record() const { return record_; }

    // An attachment's save: adds it to the working copy or replaces it there.
    // MAPI_E_OBJECT_DELETED when it was deleted meanwhile.
    HRESULT SaveAttachment(const AttachmentRecord& attachment, bool is_new);

    std::optional<PropertyValue> Get(ULONG tag) const final;
    std::vector<ULONG> Tags() const final;
    HRESULT Put(ULONG tag, std::optional<PropertyValue> value) final;
    HRESULT Save(ULONG flags) final;

private:
    // Notes that the attachment is open, for as long as the entry lives.
    std::shared_ptr<void> NoteOpen(ULONG number);

    const std::unique_ptr<MessageHome> home_;
    MessageRecord record_;
    const std::shared_ptr<std::multiset<ULONG>> open_attachments_ =
        std::make_shared<std::multiset<ULONG>>();
};

// Opens a message of the store, `flags` as for OpenEntry. Null when it is not there.
vek::RefPtr<OpenMessage> OpenStoredMessage(std::shared_ptr<Runtime> runtime,
                                           std::shared_ptr<MessageStore> store,
                                           std::string entry_id, ULONG flags);

// A message that is not in the store before its first save, which gives it an entry id.
vek::RefPtr<OpenMessage> NewStoredMessage(std::shared_ptr<Runtime> runtime,
                                          std::shared_ptr<MessageStore> store,
                                          MessageRecord record);

}  // namespace sandbox::outlook
