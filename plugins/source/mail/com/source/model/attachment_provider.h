#pragma once

#include <memory>

#include "model/message_context.h"
#include "model/owner_thread.h"
#include "private_include/common/mail_message.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// Stands for one attachment of one message.
class AttachmentProvider final : public vek::ObjectImpl<IPropertyProvider> {
public:
    // Owner thread. Opens attachment `number` (PR_ATTACH_NUM). Raises
    // vek::ResultCodeException kNotSupported for an embedded message and for attachments by
    // reference, helpers::HResultCodeException for one that cannot be opened or read, and
    // kInsufficientResources for one that the check's budget has no room for.
    AttachmentProvider(std::shared_ptr<OwnerThread> owner, vek::trace::TracerPtr tracer,
                       const MessageContext& message, ULONG number);

    // Lets go of the attachment first, as stores demand; a stream that the scanner still holds may
    // make it fail. What is not known of a deleted attachment is kNotFound.
    vek::result_t Delete() noexcept override;
    // Writing is refused (kNotSupported) in encrypted and signed messages, and where an OLE
    // attachment has no stream of bytes.
    vek::result_t OpenStream(std::uint32_t access, std::uint32_t mode,
                             IDataStream** stream) noexcept override;
    vek::result_t GetName(std::string& name) noexcept override;
    vek::result_t GetFileName(std::string& name) noexcept override;
    vek::result_t GetMimeTag(std::string& tag) noexcept override;
    // As the attachment table counts: content and properties, in bytes.
    vek::result_t GetSize(std::uint32_t& size) noexcept override;
    vek::result_t Rename(std::string_view name) noexcept override;

private:
    struct State {
        MessageContext message;
        std::shared_ptr<PropertiesAccessor> attachment;
    };

    void CheckMethod();
    vek::RefPtr<IDataStream> Open(std::uint32_t access, std::uint32_t mode);
    vek::RefPtr<IDataStream> OpenOle(std::uint32_t access, std::uint32_t mode);
    StorageCopies::Copy CopyStorage();
    std::shared_ptr<SharedStream> TryOpen(ULONG tag, std::uint32_t access, std::uint32_t mode);
    vek::RefPtr<IDataStream> Adapt(std::shared_ptr<SharedStream> stream);
    const std::string& FileName();

    const vek::trace::TracerPtr tracer_;
    const ULONG number_;
    OwnerBound<State> state_;
};

}  // namespace plugins::mail_processing
