#include "model/mail_message_impl.h"

#include <utility>

#include "mapi/property_tags.h"
#include "model/attachments_enum.h"
#include "model/internet_headers.h"
#include "model/message_hash.h"
#include "model/message_texts.h"
#include "model/notice.h"
#include "model/return_interface.h"
#include "model/stream_property_provider.h"
#include "model/write_refusals.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace tag = mapi::tag;

}  // namespace

MailMessageImpl::MailMessageImpl(vek::RefPtr<IMessage> message, vek::RefPtr<IMAPISession> session,
                                 std::shared_ptr<const mapi::MapiFunctions> functions,
                                 vek::trace::TracerPtr tracer, std::shared_ptr<OwnerThread> owner,
                                 vek::platform::Clock& clock, const CheckLimits& limits)
    : tracer_(std::move(tracer)),
      state_(std::move(owner),
             State{std::move(session),
                   MessageContext{message, functions, &clock, std::make_shared<StorageCopies>(),
                                  std::make_shared<PropertiesAccessor>(
                                      std::move(message), std::move(functions), tracer_, clock,
                                      nullptr, CheckBudget(limits))}}) {}

vek::result_t MailMessageImpl::GetHeaderSummary(std::string& summary) noexcept {
    return RunOnOwner(state_.owner(),
                      [&] { budget().Give(HeaderSummary(*message().accessor), summary); });
}

vek::result_t MailMessageImpl::GetMessageHash(std::uint64_t& hash) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        hash = MessageHash(*message().functions, *message().message, *message().accessor, tracer_);
    });
}

vek::result_t MailMessageImpl::GetSender(std::string& sender) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        budget().Give(AddressLine(*message().accessor, tag::kSenderNameA, tag::kSenderAddrTypeA,
                                  tag::kSenderEmailAddressA),
                      sender);
    });
}

vek::result_t MailMessageImpl::GetSenderSmtpAddress(std::string& address) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        budget().Give(
            SenderSmtpAddress(*message().functions, state_->session.get(), *message().accessor),
            address);
    });
}

vek::result_t MailMessageImpl::GetSentRepresenting(std::string& sender) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        budget().Give(
            AddressLine(*message().accessor, tag::kSentRepresentingNameA,
                        tag::kSentRepresentingAddrTypeA, tag::kSentRepresentingEmailAddressA),
            sender);
    });
}

vek::result_t MailMessageImpl::GetSenderName(std::string& name) noexcept {
    return ReadRequired(tag::kSenderNameA, name);
}

vek::result_t MailMessageImpl::GetSentRepresentingName(std::string& name) noexcept {
    return ReadRequired(tag::kSentRepresentingNameA, name);
}

vek::result_t MailMessageImpl::GetToRecipients(std::string& recipients) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        budget().Give(RecipientList(*message().functions, *message().message, MAPI_TO), recipients);
    });
}

vek::result_t MailMessageImpl::GetDisplayTo(std::string& line) noexcept {
    return ReadRequired(tag::kDisplayToA, line);
}

vek::result_t MailMessageImpl::GetCcRecipients(std::string& recipients) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        budget().Give(RecipientList(*message().functions, *message().message, MAPI_CC), recipients);
    });
}

vek::result_t MailMessageImpl::GetDisplayCc(std::string& line) noexcept {
    return ReadRequired(tag::kDisplayCcA, line);
}

vek::result_t MailMessageImpl::GetSubject(std::u16string& subject) noexcept {
    return ReadRequired(tag::kSubjectW, subject);
}

vek::result_t MailMessageImpl::GetTime(std::string& time) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        PropertiesAccessor& properties = *message().accessor;
        const auto* submitted = properties.TryGetProperty<std::string>(tag::kClientSubmitTime);
        if (submitted == nullptr)
            submitted = properties.TryGetProperty<std::string>(tag::kProviderSubmitTime);
        vek::Check(submitted != nullptr);
        time = *submitted;
    });
}

vek::result_t MailMessageImpl::GetInternetMessageId(std::string& id) noexcept {
    return ReadRequired(tag::kInternetMessageIdA, id);
}

vek::result_t MailMessageImpl::GetTransportHeaders(std::string& headers) noexcept {
    return ReadRequired(tag::kTransportMessageHeadersA, headers);
}

vek::result_t MailMessageImpl::GetPlainBody(IPropertyProvider** body) noexcept {
    return GetBody(tag::kBodyA, body);
}

vek::result_t MailMessageImpl::GetHtmlBody(IPropertyProvider** body) noexcept {
    return GetBody(tag::kBodyHtmlA, body);
}

vek::result_t MailMessageImpl::GetRichBody(IPropertyProvider** body) noexcept {
    return GetBody(tag::kRtfCompressed, body);
}

vek::result_t MailMessageImpl::GetAttachments(IAttachmentsEnum** attachments) noexcept {
    return ReturnInterface<IAttachmentsEnum>(state_.owner(), attachments, [&] {
        return vek::MakeObject<AttachmentsEnum>(state_.shared_owner(), tracer_, message());
    });
}

vek::result_t MailMessageImpl::SetSubject(std::u16string_view subject) noexcept {
    return RunOnOwner(state_.owner(), [&] { message().accessor->SetSubject(subject); });
}

vek::result_t MailMessageImpl::AppendNotice(std::string_view text,
                                            std::uint32_t& outcome) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        if (!AllowsNotice(*message().accessor)) {
            outcome = 1;
            return;
        }
        outcome = 0;
        try {
            for (const ULONG body : {tag::kBodyHtmlA, tag::kBodyA})
                InsertNotice(*message().functions, *message().accessor, body, text, tracer_);
        } catch (...) {
            vek::trace::WriteCurrentException(tracer_);
        }
    });
}

vek::result_t MailMessageImpl::SetProperty(std::uint32_t property,
                                           std::string_view value) noexcept {
    return RunOnOwner(state_.owner(), [&] { message().accessor->SetProperty(property, value); });
}

vek::result_t MailMessageImpl::SetHeader(std::string_view line) noexcept {
    return RunOnOwner(state_.owner(), [&] { SetHeaders(ReplaceHeader(Headers(), line)); });
}

vek::result_t MailMessageImpl::AddHeader(std::string_view line) noexcept {
    return RunOnOwner(state_.owner(), [&] { SetHeaders(AppendHeader(Headers(), line)); });
}

vek::result_t MailMessageImpl::GetBody(std::uint32_t property, IPropertyProvider** body) noexcept {
    return ReturnInterface<IPropertyProvider>(state_.owner(), body, [&] {
        return vek::MakeObject<StreamPropertyProvider>(
            state_.shared_owner(), tracer_, message().functions, message().accessor, property);
    });
}

std::string_view MailMessageImpl::Headers() {
    const auto* headers =
        message().accessor->TryGetProperty<std::string>(tag::kTransportMessageHeadersA);
    return headers != nullptr ? std::string_view(*headers) : std::string_view();
}

void MailMessageImpl::SetHeaders(const std::string& headers) {
    const auto page = message().functions->code_page;
    bool whole = vek::platform::HasEverything(page);
    if (!whole) {
        try {
            constexpr ULONG kWide = CHANGE_PROP_TYPE(tag::kTransportMessageHeadersA, PT_UNICODE);
            const auto* wide = message().accessor->TryGetProperty<std::u16string>(kWide);
            whole = wide == nullptr || vek::platform::HasAllOf(page, *wide);
        } catch (const helpers::HResultCodeException& failure) {
            if (failure.hresult() != MAPI_E_NOT_ENOUGH_MEMORY) throw;
            // Too large as a value, it is there as a stream.
            PropertyBackup old(*message().accessor, tag::kTransportMessageHeadersA, page, tracer_);
            old.Keep();
            whole = old.IsNarrowWhole();
        }
    }
    RefuseLosingCharacters(whole, tag::kTransportMessageHeadersA, tracer_);
    message().accessor->SetProperty(tag::kTransportMessageHeadersA, headers);
}

template <class Value>
vek::result_t MailMessageImpl::ReadRequired(std::uint32_t property, Value& out) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        budget().Give(message().accessor->template GetProperty<Value>(
                          property, vek::result::kPropertyNotFound),
                      out);
    });
}

}  // namespace plugins::mail_processing
