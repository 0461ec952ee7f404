#pragma once

// The part of Outlook's object model that the add-in uses, as interfaces, and the events that it
// hears.
//
// Everything here is called on Outlook's thread. Methods give the HRESULT of the call that they
// stand for and fill their out parameters on success alone; none raises. Any call can make Outlook
// raise further events from within it.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mapi/exchange_extension.h"
#include "mapi/mapi_interfaces.h"
#include "vek/core/ref_ptr.h"

// windows.h makes a macro of a method's name.
#ifdef GetMessage
#undef GetMessage
#endif

namespace plugins::mail_processing {

// OLE automation's DATE: days since 30 December 1899, local time.
using ole_date_t = double;

// OLE automation's VARIANT_TRUE; what is neither this nor 0 is not true.
inline constexpr std::int16_t kVariantTrue = -1;

// A subscription to events: an advise cookie and what it was given by.
class EventConnection {
public:
    // As Unadvise, if that was not called yet; a failure is ignored.
    virtual ~EventConnection() = default;
    // Ends it. No event comes afterwards, even when this fails.
    virtual HRESULT Unadvise() noexcept = 0;
};
using EventConnectionPtr = std::unique_ptr<EventConnection>;

// Hears the events of an item (ItemEvents_10).
class ItemEvents {
public:
    virtual void OnRead() noexcept = 0;
    // The item goes away: nothing more of it is to be held.
    virtual void OnUnload() noexcept = 0;

protected:
    ~ItemEvents() = default;
};

// An item of the type mail (_MailItem).
class MailItem {
public:
    virtual ~MailItem() = default;

    // Hexadecimal digits; empty for an item that has none yet.
    virtual HRESULT GetEntryId(std::u16string& entry_id) noexcept = 0;
    virtual HRESULT GetSaved(std::int16_t& saved) noexcept = 0;
    virtual HRESULT GetCreationTime(ole_date_t& time) noexcept = 0;
    virtual HRESULT GetMessageClass(std::u16string& message_class) noexcept = 0;
    // The kind of item, 43 for mail (olMail).
    virtual HRESULT GetClass(std::int32_t& item_class) noexcept = 0;
    virtual HRESULT Save() noexcept = 0;
    // MAPIOBJECT as an IMessage, with a reference.
    virtual HRESULT GetMessage(vek::RefPtr<IMessage>& message) noexcept = 0;
};
using MailItemPtr = std::shared_ptr<MailItem>;

// An item of whatever type, as events bring it.
class Item {
public:
    virtual ~Item() = default;

    // E_NOINTERFACE for an appointment, a task and the like.
    virtual HRESULT GetMailItem(MailItemPtr& mail_item) noexcept = 0;
    // `events` outlives the connection.
    virtual HRESULT Advise(ItemEvents& events, EventConnectionPtr& connection) noexcept = 0;
};
using ItemPtr = std::shared_ptr<Item>;

// The pages of Outlook's Options dialog.
class PropertyPages {
public:
    // `page` is the ProgID of a control.
    virtual HRESULT Add(std::u16string_view page, std::u16string_view caption) noexcept = 0;

protected:
    ~PropertyPages() = default;
};

// Hears the events of the application (ApplicationEvents and those that Outlook 12 added). An item
// is valid as long as it is held.
class ApplicationEvents {
public:
    virtual void OnItemSend(const ItemPtr& item, bool& cancel) noexcept = 0;
    virtual void OnOptionsPagesAdd(PropertyPages& pages) noexcept = 0;
    virtual void OnQuit() noexcept = 0;
    // Entry ids separated by commas. Null when Outlook gives none.
    virtual void OnNewMailEx(const std::u16string* entry_ids) noexcept = 0;
    virtual void OnItemLoad(const ItemPtr& item) noexcept = 0;

protected:
    ~ApplicationEvents() = default;
};

// Hears the events of a folder's items (ItemsEvents).
class FolderEvents {
public:
    virtual void OnItemAdd(const ItemPtr& item) noexcept = 0;

protected:
    ~FolderEvents() = default;
};

// The running Outlook (_Application).
class Application {
public:
    virtual ~Application() = default;

    virtual HRESULT GetName(std::u16string& name) noexcept = 0;
    // "15.0.0.4569" and the like.
    virtual HRESULT GetVersion(std::u16string& version) noexcept = 0;
    // MAPIOBJECT of the name space "MAPI", queried for IMAPISession; with a reference.
    virtual HRESULT GetMapiSession(vek::RefPtr<IMAPISession>& session) noexcept = 0;
    // The current item of each open inspector; S_FALSE when one cannot be had, which is left out.
    virtual HRESULT GetOpenItems(std::vector<ItemPtr>& items) noexcept = 0;
    // The first item selected in the active explorer; S_FALSE and null when there is none.
    virtual HRESULT GetSelectedItem(ItemPtr& item) noexcept = 0;

    // Both: `events` outlives the connection. The first brings what Outlook 9 knew (ItemSend,
    // OptionsPagesAdd, Quit), the second NewMailEx and ItemLoad.
    virtual HRESULT AdviseEvents(ApplicationEvents& events,
                                 EventConnectionPtr& connection) noexcept = 0;
    virtual HRESULT AdviseNewerEvents(ApplicationEvents& events,
                                      EventConnectionPtr& connection) noexcept = 0;
    // The items of the default inbox.
    virtual HRESULT AdviseInbox(FolderEvents& events, EventConnectionPtr& connection) noexcept = 0;
};
using ApplicationPtr = std::shared_ptr<Application>;

// The object that connects the add-in, before it is known to be Outlook.
class ApplicationObject {
public:
    // Queries for {00063001-0000-0000-C000-000000000046}.
    virtual HRESULT GetApplication(ApplicationPtr& application) noexcept = 0;

protected:
    ~ApplicationObject() = default;
};

// The mouse pointer of Outlook's thread.
class Cursor {
public:
    virtual ~Cursor() = default;
    // Shows the system's pointer `resource_id` and gives the one that was shown before, or null.
    virtual void* Show(std::uint16_t resource_id) noexcept = 0;
    virtual void Restore(void* previous) noexcept = 0;
};

}  // namespace plugins::mail_processing
