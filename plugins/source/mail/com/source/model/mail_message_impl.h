#pragma once

#include <memory>

#include "mapi/mapi_functions.h"
#include "mapi/mapi_interfaces.h"
#include "model/message_context.h"
#include "model/owner_thread.h"
#include "model/properties_accessor.h"
#include "private_include/common/mail_message.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/clock.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// The scanner's view of one Outlook message, for the time of one check. Every operation runs on
// the thread that owns the message; see IMailMessage for what each does.
class MailMessageImpl final : public vek::ObjectImpl<IMailMessage> {
public:
    // Owner thread. `session` opens the address book and may be empty. Operations beyond `limits`
    // fail with kInsufficientResources.
    MailMessageImpl(vek::RefPtr<IMessage> message, vek::RefPtr<IMAPISession> session,
                    std::shared_ptr<const mapi::MapiFunctions> functions,
                    vek::trace::TracerPtr tracer, std::shared_ptr<OwnerThread> owner,
                    vek::platform::Clock& clock, const CheckLimits& limits = {});

    vek::result_t GetHeaderSummary(std::string& summary) noexcept override;
    vek::result_t GetMessageHash(std::uint64_t& hash) noexcept override;
    vek::result_t GetSender(std::string& sender) noexcept override;
    vek::result_t GetSenderSmtpAddress(std::string& address) noexcept override;
    vek::result_t GetSentRepresenting(std::string& sender) noexcept override;
    vek::result_t GetSenderName(std::string& name) noexcept override;
    vek::result_t GetSentRepresentingName(std::string& name) noexcept override;
    vek::result_t GetToRecipients(std::string& recipients) noexcept override;
    vek::result_t GetDisplayTo(std::string& line) noexcept override;
    vek::result_t GetCcRecipients(std::string& recipients) noexcept override;
    vek::result_t GetDisplayCc(std::string& line) noexcept override;
    vek::result_t GetSubject(std::u16string& subject) noexcept override;
    vek::result_t GetTime(std::string& time) noexcept override;
    vek::result_t GetInternetMessageId(std::string& id) noexcept override;
    vek::result_t GetTransportHeaders(std::string& headers) noexcept override;
    vek::result_t GetPlainBody(IPropertyProvider** body) noexcept override;
    vek::result_t GetHtmlBody(IPropertyProvider** body) noexcept override;
    vek::result_t GetRichBody(IPropertyProvider** body) noexcept override;
    vek::result_t GetAttachments(IAttachmentsEnum** attachments) noexcept override;
    vek::result_t SetSubject(std::u16string_view subject) noexcept override;
    vek::result_t AppendNotice(std::string_view text, std::uint32_t& outcome) noexcept override;
    vek::result_t SetProperty(std::uint32_t tag, std::string_view value) noexcept override;
    vek::result_t SetHeader(std::string_view line) noexcept override;
    vek::result_t AddHeader(std::string_view line) noexcept override;

private:
    // Released from the last to the first.
    struct State {
        vek::RefPtr<IMAPISession> session;
        MessageContext message;
    };

    MessageContext& message() noexcept { return state_->message; }
    const CheckBudget& budget() noexcept { return message().accessor->budget(); }
    vek::result_t GetBody(std::uint32_t property, IPropertyProvider** body) noexcept;
    // The Internet headers, empty when missing; valid until they are set.
    std::string_view Headers();
    void SetHeaders(const std::string& headers);

    // Reads a property that must be there.
    template <class Value>
    vek::result_t ReadRequired(std::uint32_t property, Value& out) noexcept;

    const vek::trace::TracerPtr tracer_;
    OwnerBound<State> state_;
};

}  // namespace plugins::mail_processing
