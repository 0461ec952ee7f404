#pragma once

#include "automation/dispatch_object.h"
#include "com/event_arguments_win32.h"
#include "object_model/object_model.h"

namespace plugins::mail_processing::automation {

// An item of any type, called late.
class AutomationItem final : public Item {
public:
    explicit AutomationItem(vek::RefPtr<IDispatch> object) noexcept : object_(std::move(object)) {}

    HRESULT GetMailItem(MailItemPtr& mail_item) noexcept override;
    HRESULT Advise(ItemEvents& events, EventConnectionPtr& connection) noexcept override;

    // Outlook's object.
    const vek::RefPtr<IDispatch>& object() const noexcept { return object_; }

private:
    const vek::RefPtr<IDispatch> object_;
};

// Tells `events` of an event of ItemEvents_10; leaves those that it does not know. Raises what
// EventArguments does.
void TellItemEvent(ItemEvents& events, DISPID event, const com::EventArguments& arguments);

// An item that is mail, called late.
class AutomationMailItem final : public MailItem {
public:
    // `object` is a _MailItem.
    explicit AutomationMailItem(vek::RefPtr<IDispatch> object) noexcept
        : object_(std::move(object)) {}

    HRESULT GetEntryId(std::u16string& entry_id) noexcept override;
    HRESULT GetSaved(std::int16_t& saved) noexcept override;
    HRESULT GetCreationTime(ole_date_t& time) noexcept override;
    HRESULT GetMessageClass(std::u16string& message_class) noexcept override;
    HRESULT GetClass(std::int32_t& item_class) noexcept override;
    HRESULT Save() noexcept override;
    HRESULT GetMessage(vek::RefPtr<IMessage>& message) noexcept override;

private:
    const DispatchObject object_;
};

}  // namespace plugins::mail_processing::automation
