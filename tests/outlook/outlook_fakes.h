#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "com/com_object.h"
#include "outlook/Addin.h"
#include "tests/support/mail_fixture.h"

namespace plugins::mail_processing {

// The calls that the add-in makes of Outlook: the nth from now on fails, and something can happen
// within one, once.
struct OutlookCalls {
    HRESULT Enter(const char* name) {
        names.push_back(name);
        if (auto action = within.extract(name); !action.empty()) action.mapped()();
        const auto failing = always.find(name);
        if (failing != always.end()) return failing->second;
        return fail_at != 0 && --fail_at == 0 ? E_ACCESSDENIED : S_OK;
    }

    int fail_at = 0;
    std::map<std::string, HRESULT> always;
    std::map<std::string, std::function<void()>> within;
    std::vector<std::string> names;
    int advised = 0;  // connections alive
};

struct FakeConnection final : EventConnection {
    FakeConnection(OutlookCalls& c, std::function<void()> e) : calls(c), end(std::move(e)) {
        ++calls.advised;
    }
    ~FakeConnection() override { End(); }
    HRESULT Unadvise() noexcept override { return End(), calls.Enter("Unadvise"); }
    void End() {
        if (const auto ending = std::exchange(end, nullptr)) ending(), --calls.advised;
    }
    OutlookCalls& calls;
    std::function<void()> end;
};

struct Faked {
    explicit Faked(OutlookCalls& c) : calls(c) {}

    template <class Events>
    HRESULT Tell(const char* name, Events*& slot, Events& to, EventConnectionPtr& out) {
        slot = &to;
        if (const HRESULT result = calls.Enter(name); FAILED(result)) {
            slot = nullptr;
            return result;
        }
        out = std::make_unique<FakeConnection>(calls, [&slot] { slot = nullptr; });
        return S_OK;
    }
    template <class Value, class Out>
    HRESULT Give(const char* name, const Value& value, Out& out) {
        const HRESULT result = calls.Enter(name);
        if (SUCCEEDED(result)) out = value;
        return result;
    }
    OutlookCalls& calls;
};

struct FakeItem final : Faked, Item, MailItem, std::enable_shared_from_this<FakeItem> {
    using Faked::Faked;
    using Text = std::u16string;
    HRESULT GetMailItem(MailItemPtr& mail) noexcept override {
        return is_mail ? Give("GetMailItem", shared_from_this(), mail) : E_NOINTERFACE;
    }
    HRESULT Advise(ItemEvents& to, EventConnectionPtr& out) noexcept override {
        return Tell("AdviseItem", events, to, out);
    }
    HRESULT GetEntryId(Text& id) noexcept override { return Give("GetEntryId", entry_id, id); }
    HRESULT GetSaved(std::int16_t& b) noexcept override { return Give("GetSaved", saved, b); }
    HRESULT GetCreationTime(ole_date_t& t) noexcept override { return Give("Time", created, t); }
    HRESULT GetMessageClass(Text& t) noexcept override { return Give("Name", u"IPM.Note", t); }
    HRESULT GetClass(std::int32_t& n) noexcept override { return Give("Class", 43, n); }
    HRESULT Save() noexcept override { return calls.Enter("Save"); }
    HRESULT GetMessage(vek::RefPtr<IMessage>& out) noexcept override {
        return Give("GetMessage", open(), out);
    }

    Text entry_id;
    bool is_mail = true;
    std::int16_t saved = kVariantTrue;
    ole_date_t created = 0;
    std::function<vek::RefPtr<IMessage>()> open;
    ItemEvents* events = nullptr;
};
using FakeItemPtr = std::shared_ptr<FakeItem>;

struct FakeOutlook final : Faked,
                           Application,
                           ApplicationObject,
                           ExchangeEventSource,
                           std::enable_shared_from_this<FakeOutlook> {
    using Faked::Faked;
    using Text = std::u16string;
    using Connection = EventConnectionPtr;
    HRESULT GetApplication(ApplicationPtr& out) noexcept override {
        return Give("GetApplication", shared_from_this(), out);
    }
    HRESULT GetName(Text& name) noexcept override { return Give("GetName", u"Outlook", name); }
    HRESULT GetVersion(Text& out) noexcept override { return Give("GetVersion", version, out); }
    HRESULT GetMapiSession(vek::RefPtr<IMAPISession>& out) noexcept override {
        return Give("GetMapiSession", vek::RefPtr<IMAPISession>(), out);
    }
    HRESULT GetOpenItems(std::vector<ItemPtr>& items) noexcept override {
        return Give("GetOpenItems", open_items, items);
    }
    HRESULT GetSelectedItem(ItemPtr& item) noexcept override {
        return Give("GetSelectedItem", open_items.empty() ? nullptr : open_items[0], item);
    }
    HRESULT AdviseEvents(ApplicationEvents& to, Connection& out) noexcept override {
        return Tell("AdviseEvents", events, to, out);
    }
    HRESULT AdviseNewerEvents(ApplicationEvents& to, Connection& out) noexcept override {
        return Tell("AdviseNewerEvents", newer_events, to, out);
    }
    HRESULT AdviseInbox(FolderEvents& to, Connection& out) noexcept override {
        return Tell("AdviseInbox", inbox, to, out);
    }
    HRESULT Advise(ExchangeEvents& to, Connection& out) noexcept override {  // of the extension
        return Tell("AdviseExtension", exchange_events, to, out);
    }

    Text version = u"16.0.0.1";
    std::vector<ItemPtr> open_items;
    ApplicationEvents* events = nullptr;
    ApplicationEvents* newer_events = nullptr;
    FolderEvents* inbox = nullptr;
    ExchangeEvents* exchange_events = nullptr;
};

struct FakePages final : Faked, PropertyPages {
    using Faked::Faked;
    HRESULT Add(std::u16string_view page, std::u16string_view caption) noexcept override {
        return Give("AddPage", std::u16string(page).append(u"|").append(caption), added);
    }
    std::u16string added;
};

struct FakeCursor final : Faked, Cursor {
    using Faked::Faked;
    void* Show(std::uint16_t id) noexcept override {
        calls.Enter("ShowCursor");
        return std::exchange(shown, reinterpret_cast<void*>(std::uintptr_t{id}));
    }
    void Restore(void* previous) noexcept override { shown = previous; }
    void* shown = nullptr;
};

// What a client hands to its extensions.
struct FakeCallback final
    : mapi::ComObject<mapi::ComInterface<mapi::IExchExtCallback, mapi::iid::kExchExtCallback>> {
    explicit FakeCallback(std::function<vek::RefPtr<IMessage>()> o) : open(std::move(o)) {}
    HRESULT STDMETHODCALLTYPE GetVersion(ULONG* out, ULONG flags) override {
        *out = flags == mapi::exch_version::kBuild ? version : 0;
        return result;
    }
    HRESULT STDMETHODCALLTYPE GetObject(IMsgStore**, IMAPIProp** out) override {
        if (SUCCEEDED(result)) *out = open().detach();
        return result;
    }
    HRESULT STDMETHODCALLTYPE GetWindow(HWND*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMenu(HMENU*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetToolbar(ULONG, HWND*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSession(IMAPISession**, IAddrBook**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSelectionCount(ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSelectionItem(ULONG, ULONG*, ENTRYID**, ULONG*, LPTSTR, ULONG,
                                               ULONG*, ULONG) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetMenuPos(ULONG, HMENU*, ULONG*, ULONG*, ULONG) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetSharedExtsDir(LPTSTR, ULONG, ULONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRecipients(ADRLIST**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetRecipients(ADRLIST*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNewMessageSite() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RegisterModeless() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ChooseFolder() override { return E_NOTIMPL; }

    ULONG version = 0x000D0001;
    HRESULT result = S_OK;
    const std::function<vek::RefPtr<IMessage>()> open;
};

}  // namespace plugins::mail_processing
