#include "automation/automation_item.h"

#include "automation/automation_ids.h"
#include "com/border.h"
#include "com/event_connection_win32.h"
#include "com/query.h"

namespace plugins::mail_processing::automation {
namespace {

constinit Member g_entry_id{L"EntryID"};
constinit Member g_saved{L"Saved"};
constinit Member g_creation_time{L"CreationTime"};
constinit Member g_message_class{L"MessageClass"};
constinit Member g_class{L"Class"};
constinit Member g_save{L"Save"};
constinit Member g_item_mapi_object{L"MAPIOBJECT"};

}  // namespace

HRESULT AutomationItem::GetMailItem(MailItemPtr& mail_item) noexcept {
    return com::AtBorder([&] {
        mail_item = std::make_shared<AutomationMailItem>(
            com::Query<IDispatch>(object_.get(), iid::kMailItem));
    });
}

HRESULT AutomationItem::Advise(ItemEvents& events, EventConnectionPtr& connection) noexcept {
    return com::AtBorder([&] {
        connection =
            com::ConnectEvents(object_.get(), iid::kItemEvents10,
                               [&events](DISPID event, const com::EventArguments& arguments) {
                                   TellItemEvent(events, event, arguments);
                               });
    });
}

void TellItemEvent(ItemEvents& events, DISPID event, const com::EventArguments& arguments) {
    if (event != item_event::kRead && event != item_event::kUnload) return;
    arguments.Expect(0);
    event == item_event::kRead ? events.OnRead() : events.OnUnload();
}

HRESULT AutomationMailItem::GetEntryId(std::u16string& entry_id) noexcept {
    return com::AtBorder([&] { entry_id = object_.Get(g_entry_id).Text(); });
}

HRESULT AutomationMailItem::GetSaved(std::int16_t& saved) noexcept {
    return com::AtBorder([&] { saved = object_.Get(g_saved).Flag(); });
}

HRESULT AutomationMailItem::GetCreationTime(ole_date_t& time) noexcept {
    return com::AtBorder([&] { time = object_.Get(g_creation_time).Date(); });
}

HRESULT AutomationMailItem::GetMessageClass(std::u16string& message_class) noexcept {
    return com::AtBorder([&] { message_class = object_.Get(g_message_class).Text(); });
}

HRESULT AutomationMailItem::GetClass(std::int32_t& item_class) noexcept {
    return com::AtBorder([&] { item_class = object_.Get(g_class).Number(); });
}

HRESULT AutomationMailItem::Save() noexcept {
    return com::AtBorder([&] { object_.Call(g_save); });
}

HRESULT AutomationMailItem::GetMessage(vek::RefPtr<IMessage>& message) noexcept {
    return com::AtBorder([&] {
        message = com::Query<IMessage>(object_.Get(g_item_mapi_object).Unknown().get(),
                                       mapi::iid::kMessage);
    });
}

}  // namespace plugins::mail_processing::automation
