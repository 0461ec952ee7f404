#include "sandbox/outlook/object_model/outlook_item.h"

#include <utility>

#include "mapi/property_tags.h"
#include "sandbox/outlook/entry_id_text.h"
#include "sandbox/outlook/open_message.h"
#include "vek/core/text.h"

namespace sandbox::outlook {

namespace mail_processing = plugins::mail_processing;
namespace tag = plugins::mapi::tag;

namespace {

// OlObjectClass: olAppointment and olMail.
constexpr std::int32_t kAppointmentClass = 26;
constexpr std::int32_t kMailClass = 43;

// Every message of the subsystem is one.
OpenMessage& Opened(IMessage& message) { return static_cast<OpenMessage&>(message); }

}  // namespace

OutlookItem::OutlookItem(std::shared_ptr<ObjectModel> model, MapiSubsystem& mapi,
                         std::string entry_id, Traits traits)
    : model_(std::move(model)),
      mapi_(mapi),
      entry_id_(std::move(entry_id)),
      traits_(traits),
      saved_(true),
      events_(model_),
      live_(model_->live_items) {}

OutlookItem::OutlookItem(std::shared_ptr<ObjectModel> model, MapiSubsystem& mapi,
                         MessageRecord record, Traits traits)
    : model_(std::move(model)),
      mapi_(mapi),
      traits_(traits),
      message_(mapi_.NewMessage(std::move(record))),
      saved_(false),
      events_(model_),
      live_(model_->live_items) {}

vek::RefPtr<IMessage> OutlookItem::Message() {
    if (!message_) message_ = mapi_.OpenMessage(entry_id_);
    return message_;
}

HRESULT OutlookItem::GetMailItem(mail_processing::MailItemPtr& mail_item) noexcept {
    return Enter(*model_, ObjectCall::kGetMailItem, [&]() -> HRESULT {
        if (!traits_.is_mail) return E_NOINTERFACE;
        mail_item = shared_from_this();
        return S_OK;
    });
}

template <class Body>
HRESULT OutlookItem::Ask(ObjectCall member, const Body& body) noexcept {
    return Enter(*model_, member, [&]() -> HRESULT {
        const bool answers = phase_ == Phase::kLoading ? member == ObjectCall::kClass ||
                                                             member == ObjectCall::kMessageClass
                                                       : phase_ == Phase::kOpen;
        return answers ? body() : E_FAIL;
    });
}

HRESULT OutlookItem::Advise(mail_processing::ItemEvents& events,
                            mail_processing::EventConnectionPtr& connection) noexcept {
    if (phase_ == Phase::kUnloaded) return E_FAIL;
    return events_.Advise(ObjectCall::kAdviseItem, events, connection);
}

HRESULT OutlookItem::GetEntryId(std::u16string& entry_id) noexcept {
    return Ask(ObjectCall::kEntryId, [&]() -> HRESULT {
        entry_id = EntryIdText(entry_id_);
        return S_OK;
    });
}

HRESULT OutlookItem::GetSaved(std::int16_t& saved) noexcept {
    return Ask(ObjectCall::kSaved, [&]() -> HRESULT {
        saved = saved_ ? mail_processing::kVariantTrue : std::int16_t{0};
        return S_OK;
    });
}

HRESULT OutlookItem::GetCreationTime(mail_processing::ole_date_t& time) noexcept {
    return Ask(ObjectCall::kCreationTime, [&]() -> HRESULT {
        time = traits_.created;
        return S_OK;
    });
}

HRESULT OutlookItem::GetMessageClass(std::u16string& message_class) noexcept {
    return Ask(ObjectCall::kMessageClass, [&]() -> HRESULT {
        const auto message = Message();
        if (!message) return MAPI_E_NOT_FOUND;
        const auto value = Opened(*message).Get(KeptTag(tag::kMessageClassA));
        message_class = value && value->content() ? vek::ToUtf16(*value->content()) : u"IPM.Note";
        return S_OK;
    });
}

HRESULT OutlookItem::GetClass(std::int32_t& item_class) noexcept {
    return Ask(ObjectCall::kClass, [&]() -> HRESULT {
        item_class = traits_.is_mail ? kMailClass : kAppointmentClass;
        return S_OK;
    });
}

HRESULT OutlookItem::Save() noexcept {
    return Ask(ObjectCall::kSave, [&] { return SaveForOutlook(); });
}

HRESULT OutlookItem::SaveForOutlook() {
    const auto message = Message();
    if (!message) return MAPI_E_NOT_FOUND;
    OpenMessage& opened = Opened(*message);
    const HRESULT code = opened.Save(KEEP_OPEN_READWRITE);
    if (FAILED(code)) return code;
    if (const auto id = opened.Get(tag::kEntryId)) entry_id_ = *id->content();
    saved_ = true;
    return S_OK;
}

HRESULT OutlookItem::GetMessage(vek::RefPtr<IMessage>& message) noexcept {
    return Ask(ObjectCall::kMapiObject, [&]() -> HRESULT {
        auto opened = Message();
        if (!opened) return MAPI_E_NOT_FOUND;
        message = std::move(opened);
        return S_OK;
    });
}

void OutlookItem::Load(const std::function<void()>& tell) {
    phase_ = Phase::kLoading;
    tell();
    phase_ = Phase::kOpen;
}

void OutlookItem::Unload() {
    phase_ = Phase::kUnloaded;
    FireUnload();
}

void OutlookItem::FireRead() {
    const auto self = shared_from_this();
    events_.Fire([](mail_processing::ItemEvents& events) { events.OnRead(); });
}

void OutlookItem::FireUnload() {
    const auto self = shared_from_this();
    events_.Fire([](mail_processing::ItemEvents& events) { events.OnUnload(); });
}

}  // namespace sandbox::outlook
