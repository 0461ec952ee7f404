#include "private_include/common/localization.h"
#include "tests/outlook/addin_fixture.h"

namespace plugins::mail_processing {
namespace {

using AddinConnectionTest = AddinFixture;
using ::testing::ElementsAre;

TEST_F(AddinConnectionTest, GoesInOrder) {
    for (int i = 0; i != 3; ++i) host_->Open(NewMessage());
    std::vector<std::string> calls;
    const auto note = [&](AnyCall call, std::string name) {
        Within(call, [&calls, name] { calls.push_back(name); });
    };
    for (std::size_t kind = 0; kind <= static_cast<std::size_t>(ObjectCall::kAdviseInbox); ++kind) {
        const auto call = static_cast<ObjectCall>(kind);
        note(call, std::string(NameOf(call)));
    }
    note(OwnCall::kCreateExtension, "create");
    note(OwnCall::kAdviseExtension, "advise");
    note(OwnCall::kLoadMapi, "load");
    host_->plan().FailNth(ObjectCall::kMapiObject, 2, E_FAIL);
    ASSERT_EQ(addin_->OnConnection(*host_), S_OK);
    EXPECT_THAT(calls,
                ElementsAre("Application.QueryInterface", "Application.Name", "Application.Version",
                            "ApplicationEvents.Advise", "ApplicationEvents_11.Advise",
                            "Inspectors.CurrentItem", "create", "advise", "ItemsEvents.Advise",
                            "load", "NameSpace.MAPIOBJECT"));
    std::vector<std::string> lines;
    for (const char* line :
         {"700 Application: Outlook, version: 16.0.0.4569", "700 Use OOM 12 or more",
          "700 CAddin::checking opened mail items on connect", "300 Mail checking failed",
          "700 Async processor thread started successfully"})
        lines.push_back(line);
    auto traced = tracer_->lines();
    std::erase_if(traced, [&](auto& line) { return std::ranges::count(lines, line) == 0; });
    EXPECT_EQ(traced, lines);
    EXPECT_EQ(incoming_, 2) << "those around the one that fails";
    EXPECT_NE(addin_->settings(), nullptr);
}

TEST_F(AddinConnectionTest, FailsForWhatItCannotDoWithoutAlone) {
    const std::pair<AnyCall, HRESULT> table[] = {
        {ObjectCall::kGetApplication, E_FAIL}, {ObjectCall::kName, S_OK},
        {ObjectCall::kVersion, S_OK},          {ObjectCall::kAdviseEvents, E_ABORT},
        {ObjectCall::kOpenItems, S_OK},        {ObjectCall::kAdviseNewerEvents, E_ABORT},
        {OwnCall::kCreateExtension, E_ABORT},  {OwnCall::kAdviseExtension, E_ABORT},
        {ObjectCall::kAdviseInbox, S_OK},      {ObjectCall::kMapiSession, S_OK}};
    for (const auto& [call, result] : table) {
        SCOPED_TRACE(&result - &table[0].second);
        Fail(call, E_ABORT);
        const std::size_t errors = tracer_->Count("300 ");
        EXPECT_EQ(addin_->OnConnection(*host_), result);
        EXPECT_GT(tracer_->Count("300 "), errors);
        if (result == S_OK) {
            Read(NewItem());
            Disconnect();
        }
        EXPECT_EQ(Advised(), 0u);
        EXPECT_EQ(addin_->settings(), nullptr);
    }
    EXPECT_EQ(incoming_, 5);
    system_.fail_start_thread = 1;
    EXPECT_EQ(addin_->OnConnection(*host_), S_OK) << "without a background thread";
    Send(NewItem());
    EXPECT_EQ(outgoing_, 1);
}

TEST_F(AddinConnectionTest, NewerEventsAreThoseOfOutlook12) {
    for (const auto& [version, advised] : {std::pair("11", 3u), {"12", 4u}}) {
        Connect(version);
        EXPECT_EQ(Advised(), advised);
    }
}

TEST_F(AddinConnectionTest, SurvivesItsEndFromWithinAnyCall) {
    const AnyCall calls[] = {ObjectCall::kGetApplication,
                             ObjectCall::kName,
                             ObjectCall::kVersion,
                             ObjectCall::kAdviseEvents,
                             ObjectCall::kOpenItems,
                             OwnCall::kCreateExtension,
                             ObjectCall::kAdviseNewerEvents,
                             ObjectCall::kAdviseInbox,
                             OwnCall::kAdviseExtension,
                             OwnCall::kLoadMapi,
                             ObjectCall::kMapiSession,
                             ObjectCall::kGetMailItem,
                             ObjectCall::kSaved,
                             ObjectCall::kMapiObject,
                             OwnCall::kShowCursor};
    for (const AnyCall& call : calls) {
        for (const bool again : {false, true}) {
            SCOPED_TRACE(testing::Message() << &call - calls << (again ? ", again" : ""));
            const std::string open = NewMessage();
            host_->Open(open);
            Within(call, [&] { again ? Connect() : Disconnect(); });
            const std::size_t started = tracer_->Count(kStarted);
            EXPECT_EQ(addin_->OnConnection(*host_), E_ABORT);
            EXPECT_EQ(tracer_->Count(kStarted) - started, again ? 1u : 0u);
            EXPECT_EQ(Advised(), again ? kAdvised : 0u);
            EXPECT_EQ(addin_->settings() != nullptr, again);
            if (!again) Connect();
            ExpectEverythingWorks();
            Disconnect();
            host_->Close(open);
        }
    }
    EXPECT_EQ(happened_, 2 * static_cast<int>(std::size(calls)));
}

TEST_F(AddinConnectionTest, AQuitBeforeTheBackgroundThreadStartsIsKept) {
    host_->Open(NewMessage());
    for (const AnyCall call : {AnyCall(OwnCall::kLoadMapi), AnyCall(OwnCall::kShowCursor)}) {
        Within(call, [&] { host_->Quit(); });
        EXPECT_EQ(addin_->OnConnection(*host_), S_OK);
        EXPECT_EQ(tracer_->Count(kStarted), 0u);
        clock_.utc += RecentlyCheckedCache::kWindow + 1;
    }
    Connect();
    EXPECT_EQ(tracer_->Count(kStarted), 1u) << "until the next connection";
}

TEST_F(AddinConnectionTest, WhatCannotBeCheckedDoesNotCountAsChecked) {
    const OutlookItemPtr item = NewItem();
    Fail(OwnCall::kLoadMapi, E_FAIL);
    EXPECT_EQ(addin_->OnConnection(*host_), S_OK);
    Read(item);
    Client(&ExchangeEvents::OnRead, item);
    EXPECT_EQ(incoming_, 0);
    Connect();
    Read(item);
    EXPECT_EQ(incoming_, 1);
}

TEST_F(AddinConnectionTest, DisconnectionEndsEverythingWhateverFails) {
    Connect();
    const OutlookItemPtr item = NewItem();
    addin_->OnItemLoad(NewItem());
    addin_->OnItemLoad(item);
    host_->plan().FailEvery(ObjectCall::kUnadvise, E_FAIL);
    Disconnect();
    ClearPlans();
    EXPECT_EQ(Advised(), 0u);
    EXPECT_EQ(item.use_count(), 1);
    EXPECT_EQ(tracer_->Count("500 Unadvise failed, hr=0x80004005"), 3u);
    EXPECT_EQ(tracer_->Count("Async processor thread stopped"), 1u);
    Send(item);
    EXPECT_EQ(outgoing_, 0);
}

struct Owner final : ItemNotifications {
    explicit Owner(std::shared_ptr<sandbox::outlook::ObjectModel> model) : followers(model) {}
    HRESULT Follow(const std::shared_ptr<ItemEventHandler>& handler,
                   EventConnectionPtr& connection) noexcept override {
        return followers.Advise(ObjectCall::kAdviseInbox, *handler, connection);
    }
    void ItemRead(const ItemPtr&) noexcept override {}
    sandbox::outlook::Subscriptions<ItemEventHandler> followers;
};

TEST_F(AddinConnectionTest, AHalfMadeAdviseIsUndone) {
    const std::pair<std::optional<ObjectCall>, std::vector<const char*>> table[] = {
        {ObjectCall::kAdviseItem, {"300 ItemEventHandler: advise to events failed, hr=0x80004004"}},
        {ObjectCall::kAdviseInbox,
         {"300 ItemEventHandler: owner advise failed, hr=0x80004004, unadvising from events.."}},
        {std::nullopt,
         {"500 ItemEventHandler: owner unadvise failed, hr=0x80070005",
          "500 ItemEventHandler: unadvise from events failed, hr=0x80070005"}}};
    for (const auto& [failing, lines] : table) {
        Owner owner(host_->model());
        const OutlookItemPtr item = NewItem();
        const auto handler = std::make_shared<ItemEventHandler>(tracer_);
        if (failing) Fail(*failing, E_ABORT);
        EXPECT_EQ(handler->Advise(owner, item), failing ? E_ABORT : S_OK);
        host_->plan().FailEvery(ObjectCall::kUnadvise, E_ACCESSDENIED);
        handler->Unadvise();
        for (const char* line : lines) EXPECT_EQ(tracer_->Count(line), 1u) << line;
        EXPECT_EQ(item.use_count(), 1);
        EXPECT_EQ(Advised(), 0u);
        ClearPlans();
    }
}

struct Texts final : vek::ObjectImpl<product::ILocalization> {
    vek::result_t GetText(std::uint32_t, std::string_view key,
                          std::string& text) noexcept override {
        if (key == "AntiVirusPluginName") text = "Gr\xC3\xBC\xC3\x9F";
        return result;
    }
    vek::result_t ResolveResource(std::uint32_t, std::string_view, std::string&) noexcept override {
        return result;
    }
    vek::result_t IsRightToLeft(bool&) noexcept override { return result; }
    vek::result_t result = vek::result::kOk;
};

TEST_F(AddinConnectionTest, TheOptionsPageIsThatOfAProductWithinReach) {
    using Page = std::pair<std::u16string, std::u16string>;
    const auto reached = u"OutlookQZAvPlg.PageAntivirus_D7D120AE-F434-406B-9C7C-79C53BC34879";
    const Page unreached(u"OutlookQZAvPlg.PageUnableToConnect_CD555B96-F97C-4333-A28E-0DA60FE00EAC",
                         u"Mail Antivirus");
    Connect();
    EXPECT_THAT(host_->OpenOptions(), ElementsAre(unreached));
    const auto texts = vek::MakeObject<Texts>();
    product_->Offer(product::ILocalization::kInterfaceId, texts);
    const std::pair<vek::result_t, Page> table[] = {
        {vek::result::kOk, {reached, u"Gr\u00FC\u00DF"}},
        {vek::result::kNotFound, {reached, u"Mail Antivirus"}},
        {vek::result::kRemoteCallFailed, unreached}};
    for (const auto& [result, page] : table) {
        texts->result = result;
        EXPECT_THAT(host_->OpenOptions(), ElementsAre(page));
    }
}

TEST_F(AddinConnectionTest, TheSelectionIsTracedAsItIs) {
    Connect();
    EXPECT_EQ(addin_->GetSelectionItem(), nullptr);
    host_->Select(NewMessage());
    EXPECT_NE(addin_->GetSelectionItem(), nullptr);
    EXPECT_EQ(tracer_->Count("700 Message being processed is of classIPM.Note and its type is43, "
                             "flags is0x00000000"),
              1u);
    Fail(ObjectCall::kGetMailItem, E_NOINTERFACE);
    EXPECT_NE(addin_->GetSelectionItem(), nullptr);
    EXPECT_EQ(tracer_->Count("300 "), 0u) << "a task is nothing out of the ordinary";
    Fail(ObjectCall::kSelectedItem, E_ABORT);
    EXPECT_EQ(addin_->GetSelectionItem(), nullptr);
    EXPECT_EQ(tracer_->Count("300 Unable to GetSelectionItem. Error:0x80004004"), 1u);
}

}  // namespace
}  // namespace plugins::mail_processing
