#include "automation/automation_application.h"

#include <gtest/gtest.h>

#include "automation/automation_ids.h"
#include "tests/automation/fake_object.h"

namespace {

using namespace tests;
using namespace plugins::mail_processing;
using automation::AutomationObject;
namespace iid = automation::iid;

// Outlook with one message, which two of three windows show.
struct AutomationApplicationTest : testing::Test, ApplicationEvents, FolderEvents, ItemEvents {
    AutomationApplicationTest() {
        mail->Has(L"EntryID", 0xF01E, OwnedVariant(u"0A1B"))
            .Has(L"Saved", 0xF0A3, Typed(VT_BOOL, VARIANT_TRUE))
            .Has(L"CreationTime", 0x3007, Typed(VT_DATE, 45000.5))
            .Has(L"MessageClass", 0x001A, OwnedVariant(u"IPM.Note"))
            .Has(L"Class", 0xF00A, OwnedVariant(43))
            .Has(L"Save", 0xF048)
            .Has(L"MAPIOBJECT", 0xF100, Dispatch(stored.get()));
        inspector->Has(L"CurrentItem", 0x2102, Dispatch(mail.get()));
        empty->Has(L"CurrentItem", 0x2102, Dispatch(nullptr));
        inspectors->Has(L"Count", 0x50, OwnedVariant(3));
        for (FakeObject* window : {inspector.get(), empty.get(), inspector.get()})
            inspectors->Has(L"Item", 0x51, Dispatch(window));
        selection->Has(L"Count", 0x50, OwnedVariant(1)).Has(L"Item", 0x51, Dispatch(mail.get()));
        explorer->Has(L"Selection", 0x2202, Dispatch(selection.get()));
        folder->Has(L"Items", 0x3100, Dispatch(inbox.get()));
        name_space->Has(L"MAPIOBJECT", 0xF100, Dispatch(session.get()))
            .Has(L"GetDefaultFolder", 0x210B, Dispatch(folder.get()));
        outlook->Has(L"Name", 0x3001, OwnedVariant(u"Outlook"))
            .Has(L"Version", 0x0116, OwnedVariant(u"15.0"))
            .Has(L"GetNamespace", 0x0110, Dispatch(name_space.get()))
            .Has(L"ActiveExplorer", 0x0111, Dispatch(explorer.get()))
            .Has(L"Inspectors", 0x0118, Dispatch(inspectors.get()));
        EXPECT_EQ(Connect(outlook.get()), S_OK);
    }

    void OnItemSend(const ItemPtr&, bool& c) noexcept override { heard += "send ", c |= cancels; }
    void OnOptionsPagesAdd(PropertyPages& p) noexcept override { p.Add(u"Page.1", u"Caption"); }
    void OnQuit() noexcept override { heard += "quit ", on_quit(); }
    void OnNewMailEx(const std::u16string* ids) noexcept override {
        heard += ids == nullptr ? "none" : std::string(ids->begin(), ids->end());
    }
    void OnItemLoad(const ItemPtr&) noexcept override { heard += "load "; }
    void OnItemAdd(const ItemPtr&) noexcept override { heard += "add "; }
    void OnRead() noexcept override { heard += "read "; }
    void OnUnload() noexcept override { heard += "unload "; }

    vek::RefPtr<FakeObject> Make(const IID& own = IID_IDispatch) {
        return vek::MakeObject<FakeObject>(plan, own);
    }
    HRESULT Connect(IDispatch* object) { return AutomationObject(object).GetApplication(app); }
    HRESULT Advise() { return app->AdviseEvents(*this, connection); }
    HRESULT Quit() { return outlook->Raise(iid::kApplicationEvents, 0xF007); }

    CallPlan plan;
    std::string heard;
    bool cancels = false;
    std::function<void()> on_quit = [] {};
    // MAPI's are queried and counted alone.
    const vek::RefPtr<FakeObject> inspector = Make(), empty = Make(), inspectors = Make(),
                                  explorer = Make(), selection = Make(), name_space = Make(),
                                  folder = Make(), inbox = Make(), mail = Make(iid::kMailItem),
                                  outlook = Make(iid::kApplication),
                                  session = Make(plugins::mapi::iid::kSession),
                                  stored = Make(plugins::mapi::iid::kMessage);
    ApplicationPtr app;
    ItemPtr item;
    MailItemPtr mail_item;
    EventConnectionPtr connection, newer_connection, inbox_connection, item_connection;
};

TEST_F(AutomationApplicationTest, GivesWhatOutlookGivesAndTheCodeOfEveryFailure) {
    std::u16string name, version, id, message_class;
    std::int16_t saved = 0;
    std::int32_t item_class = 0;
    ole_date_t created = 0;
    std::vector<ItemPtr> items;
    vek::RefPtr<IMAPISession> app_session;
    vek::RefPtr<IMessage> message;
    const std::pair<std::function<HRESULT()>, std::string> operations[] = {
        {[&] { return Connect(outlook.get()); }, ""},
        {[&] { return app->GetName(name); }, "Name "},
        {[&] { return app->GetVersion(version); }, "Version "},
        {[&] { return app->GetMapiSession(app_session); }, "GetNamespace:MAPI() MAPIOBJECT "},
        {[&] { return app->GetOpenItems(items); },
         "Inspectors Count Item:1() CurrentItem Count Item:2() CurrentItem Count Item:3() "
         "CurrentItem Count "},
        {[&] { return app->GetSelectedItem(item); }, "ActiveExplorer() Selection Count Item:1() "},
        {[&] { return item->Advise(*this, item_connection); }, ""},
        {[&] { return item->GetMailItem(mail_item); }, ""},
        {[&] { return mail_item->GetEntryId(id); }, "EntryID "},
        {[&] { return mail_item->GetSaved(saved); }, "Saved "},
        {[&] { return mail_item->GetCreationTime(created); }, "CreationTime "},
        {[&] { return mail_item->GetMessageClass(message_class); }, "MessageClass "},
        {[&] { return mail_item->GetClass(item_class); }, "Class "},
        {[&] { return mail_item->GetMessage(message); }, "MAPIOBJECT "},
        {[&] { return mail_item->Save(); }, "Save() "},
        {[&] { return app->AdviseInbox(*this, inbox_connection); },
         "GetNamespace:MAPI() GetDefaultFolder:6() Items "},
    };
    for (const auto& [operation, log] : operations) {
        const std::uint32_t live = vek::LiveObjectCount();
        for (int failing = 1;; ++failing) {
            plan.Start(failing);
            const HRESULT hr = operation();
            // A window whose item cannot be had hides no other's.
            const bool of_window = log.starts_with("Inspectors") && failing > 2 && failing % 3 != 2;
            EXPECT_TRUE(!of_window || !items.empty());
            const HRESULT code = of_window ? S_FALSE : plan.given;
            EXPECT_EQ(hr, plan.calls < failing ? S_OK : code) << plan.log;
            if (plan.calls < failing) break;
            (item_connection ? inbox : mail)->sinks.clear();
            EXPECT_EQ(vek::LiveObjectCount(), live) << plan.log;
        }
        EXPECT_EQ(plan.log, log);
        EXPECT_GT(plan.failing, 1);
    }
    EXPECT_EQ(name + version + id + message_class, u"Outlook15.00A1BIPM.Note");
    EXPECT_EQ(static_cast<void*>(app_session.get()), static_cast<IDispatch*>(session.get()));
    EXPECT_EQ(static_cast<void*>(message.get()), static_cast<IDispatch*>(stored.get()));
    EXPECT_EQ(items.size(), 2u);
    EXPECT_EQ(saved, kVariantTrue);
    EXPECT_EQ(created, 45000.5);
    EXPECT_EQ(item_class, 43);

    plan.Start(0);
    EXPECT_EQ(Connect(nullptr), E_POINTER);
    const auto alone = Make(iid::kApplication);
    alone->Has(L"ActiveExplorer", 0x0111, Dispatch(nullptr));
    ASSERT_EQ(Connect(alone.get()), S_OK);
    EXPECT_EQ(app->GetSelectedItem(item), S_FALSE);
    EXPECT_EQ(item, nullptr);
}

TEST_F(AutomationApplicationTest, TranslatesEventsAndRefusesWhatIsNone) {
    outlook->Has(L"Add", 0x5F);
    ASSERT_EQ(Advise() | app->AdviseNewerEvents(*this, newer_connection), S_OK);
    ASSERT_EQ(app->AdviseInbox(*this, inbox_connection) | app->GetSelectedItem(item), S_OK);
    ASSERT_EQ(item->Advise(*this, item_connection), S_OK);
    VARIANT_BOOL cancel = VARIANT_FALSE;
    OwnedVariant object = Dispatch(outlook.get());
    const OwnedVariant flag = Typed(VT_BYREF | VT_BOOL, &cancel), number(1), ids(u"1A,2B");
    const OwnedVariant no_object = Dispatch(nullptr), no_ids = Typed(VT_BSTR, BSTR{});
    const OwnedVariant indirect = Typed(VT_BYREF | VT_VARIANT, object.address());
    const OwnedVariant no_flag = Typed(VT_BYREF | VT_BOOL, BSTR{});
    SCODE none = DISP_E_PARAMNOTFOUND;
    const OwnedVariant left_out = Typed(VT_BYREF | VT_ERROR, &none);
    const auto& old = iid::kApplicationEvents;
    const auto& newer = iid::kApplicationEvents11;
    const struct {
        FakeObject& source;
        const IID& events;
        DISPID event;
        std::vector<VARIANT> arguments;
        HRESULT code;
        std::string heard = "";
    } rows[] = {
        {*outlook, old, 0xF002, {flag.get(), object.get()}, S_OK, "send "},
        {*outlook, old, 0xF002, {flag.get(), indirect.get()}, S_OK, "send "},
        {*outlook, old, 0xF002, {object.get(), flag.get()}, DISP_E_TYPEMISMATCH},
        {*outlook, old, 0xF002, {no_flag.get(), object.get()}, DISP_E_TYPEMISMATCH},
        {*outlook, old, 0xF002, {flag.get(), no_object.get()}, DISP_E_TYPEMISMATCH},
        {*outlook, old, 0xF002, {flag.get(), left_out.get()}, DISP_E_PARAMNOTFOUND},
        {*outlook, old, 0xF002, {object.get()}, DISP_E_BADPARAMCOUNT},
        {*outlook, old, 0xF005, {object.get()}, S_OK},
        {*outlook, old, 0xF007, {number.get()}, DISP_E_BADPARAMCOUNT},
        {*outlook, newer, 0xFAB5, {ids.get()}, S_OK, "1A,2B"},
        {*outlook, newer, 0xFAB5, {no_ids.get()}, S_OK, "none"},
        {*outlook, newer, 0xFAB5, {number.get()}, DISP_E_TYPEMISMATCH},
        {*outlook, newer, 0xFBA7, {object.get()}, S_OK, "load "},
        {*outlook, newer, 0xF007, {}, S_OK},  // comes by the older one
        {*inbox, iid::kItemsEvents, 0xF001, {object.get()}, S_OK, "add "},
        {*mail, iid::kItemEvents10, 0xF001, {}, S_OK, "read "},
        {*mail, iid::kItemEvents10, 0xFBAD, {}, S_OK, "unload "},
    };
    for (const auto& row : rows) {
        heard.clear();
        EXPECT_EQ(row.source.Raise(row.events, row.event, row.arguments), row.code) << &row - rows;
        EXPECT_EQ(heard, row.heard) << &row - rows;
        EXPECT_EQ(cancel, VARIANT_FALSE);
    }
    heard.clear();
    VARIANT wrong_one[] = {no_flag.get(), object.get()};
    DISPPARAMS given{wrong_one, nullptr, 2, 0};
    const auto invoke = [&](const IID& id, WORD kind, UINT& wrong) {
        IDispatch& sink = *outlook->sinks.at(old.Data1);
        return sink.Invoke(0xF002, id, 0, kind, &given, nullptr, nullptr, &wrong);
    };
    UINT wrong = 9;
    EXPECT_EQ(invoke(old, DISPATCH_METHOD, wrong), DISP_E_UNKNOWNINTERFACE);
    EXPECT_EQ(invoke(IID_NULL, DISPATCH_PROPERTYGET, wrong), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(wrong, 9u);
    EXPECT_EQ(invoke(IID_NULL, DISPATCH_METHOD, wrong), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(heard, "");
    EXPECT_NE(plan.log.find("Add:Page.1:Caption() "), std::string::npos);
    cancels = true;
    EXPECT_EQ(outlook->Raise(old, 0xF002, {flag.get(), object.get()}), S_OK);
    EXPECT_EQ(cancel, VARIANT_TRUE);
}

TEST_F(AutomationApplicationTest, EventsMayEndWithinTheirOwn) {
    ASSERT_EQ(Advise(), S_OK);
    const std::uint32_t live = vek::LiveObjectCount();
    on_quit = [&] {
        connection.reset();
        EXPECT_TRUE(outlook->sinks.empty());
        EXPECT_EQ(vek::LiveObjectCount(), live) << "the sink was freed while it ran";
    };
    EXPECT_EQ(Quit(), S_OK);
    EXPECT_EQ(heard, "quit ");
    EXPECT_EQ(vek::LiveObjectCount(), live - 1);
}

TEST_F(AutomationApplicationTest, EventsAreSilentFromTheMomentTheyEnd) {
    outlook->on_unadvise = [&] { EXPECT_EQ(Quit() | connection->Unadvise(), S_OK); };
    for (const int failing : {1, 2, 3}) {  // finding the connection point, unadvising, neither
        ASSERT_EQ(Advise(), S_OK);
        const auto sinks = outlook->sinks;
        plan.Start(failing);
        EXPECT_EQ(connection->Unadvise(), failing == 3 ? S_OK : CallPlan::kCode);
        outlook->sinks = sinks;
        EXPECT_EQ(Quit(), S_OK);
    }
    plan.Start(3);  // advising, but the source keeps the sink
    EXPECT_EQ(Advise(), CallPlan::kCode);
    EXPECT_EQ(Quit(), S_OK);
    EXPECT_EQ(heard, "");
}

TEST(SystemCursor, ShowsAndRestores) {
    automation::SystemCursor cursor;
    void* const before = cursor.Show(32514);
    EXPECT_EQ(::GetCursor(), ::LoadCursorW(nullptr, MAKEINTRESOURCEW(32514)));
    cursor.Restore(before);
    EXPECT_EQ(::GetCursor(), before);
}

}  // namespace
