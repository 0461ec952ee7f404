#pragma once

#include <memory>

#include "model/message_context.h"
#include "model/owner_thread.h"
#include "private_include/common/mail_message.h"

namespace plugins::mail_processing {

// Walks a message's attachments in the order of its attachment table; nothing is left out.
class AttachmentsEnum final : public vek::ObjectImpl<IAttachmentsEnum> {
public:
    // Owner thread. Raises helpers::HResultCodeException when the table cannot be read.
    AttachmentsEnum(std::shared_ptr<OwnerThread> owner, vek::trace::TracerPtr tracer,
                    MessageContext message);

    // Fails with kNotSupported at an embedded message or an attachment by reference, and goes on
    // behind it with the next call.
    vek::result_t Next(IPropertyProvider** provider, bool& found) noexcept override;
    vek::result_t Reset() noexcept override;
    // `name` is the attachment's display name. No such attachment is kPropertyNotFound.
    vek::result_t Find(std::u16string_view name, IPropertyProvider** provider) noexcept override;

private:
    struct State {
        MessageContext message;
        vek::RefPtr<IMAPITable> table;
    };

    static State OpenTable(MessageContext message);
    // Null at the end.
    vek::RefPtr<IPropertyProvider> TakeNext();

    const vek::trace::TracerPtr tracer_;
    OwnerBound<State> state_;
};

}  // namespace plugins::mail_processing
