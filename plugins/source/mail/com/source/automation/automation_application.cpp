#include "automation/automation_application.h"

#include "automation/automation_ids.h"
#include "automation/automation_item.h"
#include "com/border.h"
#include "com/event_connection_win32.h"
#include "com/query.h"

namespace plugins::mail_processing::automation {
namespace {

constinit Member g_name{L"Name"};
constinit Member g_version{L"Version"};
constinit Member g_get_namespace{L"GetNamespace"};
constinit Member g_active_explorer{L"ActiveExplorer"};
constinit Member g_inspectors{L"Inspectors"};

constinit Member g_mapi_object{L"MAPIOBJECT"};
constinit Member g_get_default_folder{L"GetDefaultFolder"};
constinit Member g_folder_items{L"Items"};

constinit Member g_inspector_count{L"Count"};
constinit Member g_inspector_at{L"Item"};
constinit Member g_current_item{L"CurrentItem"};

constinit Member g_selection{L"Selection"};
constinit Member g_selected_count{L"Count"};
constinit Member g_selected_at{L"Item"};

constinit Member g_add_page{L"Add"};

// The pages of the dialog that an event brings.
class AutomationPages final : public PropertyPages {
public:
    explicit AutomationPages(vek::RefPtr<IDispatch> object) noexcept : object_(std::move(object)) {}

    HRESULT Add(std::u16string_view page, std::u16string_view caption) noexcept override {
        return com::AtBorder([&] {
            object_.Call(g_add_page, {com::OwnedVariant(page), com::OwnedVariant(caption)});
        });
    }

private:
    const DispatchObject object_;
};

ItemPtr ItemFrom(vek::RefPtr<IDispatch> object) {
    return std::make_shared<AutomationItem>(std::move(object));
}

void TellSend(ApplicationEvents& events, const com::EventArguments& arguments) {
    arguments.Expect(2);
    const ItemPtr item = ItemFrom(arguments.Object(0));
    VARIANT_BOOL& flag = arguments.FlagByReference(1);
    const bool cancelled = flag != VARIANT_FALSE;
    bool cancel = cancelled;
    events.OnItemSend(item, cancel);
    // A flag that another add-in has set stays.
    if (cancel && !cancelled) flag = VARIANT_TRUE;
}

void TellPages(ApplicationEvents& events, const com::EventArguments& arguments) {
    arguments.Expect(1);
    AutomationPages pages(arguments.Object(0));
    events.OnOptionsPagesAdd(pages);
}

void TellNewMail(ApplicationEvents& events, const com::EventArguments& arguments) {
    arguments.Expect(1);
    const auto entry_ids = arguments.Text(0);
    events.OnNewMailEx(entry_ids ? &*entry_ids : nullptr);
}

}  // namespace

HRESULT AutomationObject::GetApplication(ApplicationPtr& application) noexcept {
    return com::AtBorder([&] {
        application = std::make_shared<AutomationApplication>(
            com::Query<IDispatch>(object_.get(), iid::kApplication));
    });
}

HRESULT AutomationApplication::GetName(std::u16string& name) noexcept {
    return com::AtBorder([&] { name = object_.Get(g_name).Text(); });
}

HRESULT AutomationApplication::GetVersion(std::u16string& version) noexcept {
    return com::AtBorder([&] { version = object_.Get(g_version).Text(); });
}

DispatchObject AutomationApplication::NameSpace() const {
    return object_.ObjectFrom(g_get_namespace, {com::OwnedVariant(u"MAPI")});
}

HRESULT AutomationApplication::GetMapiSession(vek::RefPtr<IMAPISession>& session) noexcept {
    return com::AtBorder([&] {
        session = com::Query<IMAPISession>(NameSpace().Get(g_mapi_object).Unknown().get(),
                                           mapi::iid::kSession);
    });
}

HRESULT AutomationApplication::GetOpenItems(std::vector<ItemPtr>& items) noexcept {
    return com::AtBorder([&] {
        HRESULT result = S_OK;
        std::vector<ItemPtr> found;
        const DispatchObject inspectors = object_.ObjectOf(g_inspectors);
        // Any call may open and close windows, so they are counted anew each time.
        for (std::int32_t i = 1; i <= inspectors.Get(g_inspector_count).Number(); ++i) {
            const HRESULT had = com::AtBorder([&] {
                const DispatchObject inspector =
                    inspectors.ObjectFrom(g_inspector_at, {com::OwnedVariant(i)});
                if (!inspector) return;
                if (const DispatchObject item = inspector.ObjectOf(g_current_item))
                    found.push_back(ItemFrom(item.pointer()));
            });
            if (FAILED(had)) result = S_FALSE;
        }
        items = std::move(found);
        return result;
    });
}

HRESULT AutomationApplication::GetSelectedItem(ItemPtr& item) noexcept {
    return com::AtBorder([&]() -> HRESULT {
        ItemPtr found;
        if (const DispatchObject explorer = object_.ObjectFrom(g_active_explorer)) {
            const DispatchObject selection = explorer.ObjectOf(g_selection);
            if (selection && selection.Get(g_selected_count).Number() > 0) {
                const auto first = selection.ObjectFrom(g_selected_at, {com::OwnedVariant(1)});
                if (first) found = ItemFrom(first.pointer());
            }
        }
        item = std::move(found);
        return item ? S_OK : S_FALSE;
    });
}

HRESULT AutomationApplication::AdviseEvents(ApplicationEvents& events,
                                            EventConnectionPtr& connection) noexcept {
    return com::AtBorder([&] {
        connection =
            com::ConnectEvents(object_.pointer().get(), iid::kApplicationEvents,
                               [&events](DISPID event, const com::EventArguments& arguments) {
                                   switch (event) {
                                       case application_event::kItemSend:
                                           return TellSend(events, arguments);
                                       case application_event::kOptionsPagesAdd:
                                           return TellPages(events, arguments);
                                       case application_event::kQuit:
                                           arguments.Expect(0);
                                           return events.OnQuit();
                                   }
                               });
    });
}

HRESULT AutomationApplication::AdviseNewerEvents(ApplicationEvents& events,
                                                 EventConnectionPtr& connection) noexcept {
    // Events that the older interface has as well come by that one.
    return com::AtBorder([&] {
        connection =
            com::ConnectEvents(object_.pointer().get(), iid::kApplicationEvents11,
                               [&events](DISPID event, const com::EventArguments& arguments) {
                                   if (event == application_event::kNewMailEx) {
                                       TellNewMail(events, arguments);
                                   } else if (event == application_event::kItemLoad) {
                                       arguments.Expect(1);
                                       events.OnItemLoad(ItemFrom(arguments.Object(0)));
                                   }
                               });
    });
}

HRESULT AutomationApplication::AdviseInbox(FolderEvents& events,
                                           EventConnectionPtr& connection) noexcept {
    return com::AtBorder([&] {
        // Outlook gives up the events of a collection that nobody holds; the connection does.
        const DispatchObject items =
            NameSpace()
                .ObjectFrom(g_get_default_folder, {com::OwnedVariant(kInboxFolder)})
                .ObjectOf(g_folder_items);
        connection =
            com::ConnectEvents(items.pointer().get(), iid::kItemsEvents,
                               [&events](DISPID event, const com::EventArguments& arguments) {
                                   if (event != items_event::kItemAdd) return;
                                   arguments.Expect(1);
                                   events.OnItemAdd(ItemFrom(arguments.Object(0)));
                               });
    });
}

void* SystemCursor::Show(std::uint16_t resource_id) noexcept {
    // The system's own are shared and never destroyed.
    const HCURSOR cursor = ::LoadCursorW(nullptr, MAKEINTRESOURCEW(resource_id));
    return cursor == nullptr ? ::GetCursor() : ::SetCursor(cursor);
}

void SystemCursor::Restore(void* previous) noexcept { ::SetCursor(static_cast<HCURSOR>(previous)); }

}  // namespace plugins::mail_processing::automation
