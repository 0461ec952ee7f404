#include "private_include/common/localization.h"
#include "tests/outlook/addin_fixture.h"

namespace plugins::mail_processing {
namespace {

using AddinConnectionTest = AddinFixture;
using ::testing::ElementsAre;

TEST_F(AddinConnectionTest, GoesInOrder) {
    outlook_->open_items = {NewItem(), NewItem(), NewItem()};
    static_cast<FakeItem&>(*outlook_->open_items[1]).open = [] { return nullptr; };
    ASSERT_EQ(addin_->OnConnection(*outlook_), S_OK);
    calls_.names.resize(11);
    EXPECT_THAT(calls_.names,
                ElementsAre("GetApplication", "GetName", "GetVersion", "AdviseEvents",
                            "AdviseNewerEvents", "GetOpenItems", "CreateExtension",
                            "AdviseExtension", "AdviseInbox", "LoadMapi", "GetMapiSession"));
    const auto lines = tracer_->lines();
    const auto at = [&](std::string_view line) { return std::ranges::find(lines, line); };
    const auto checking = at("700 CAddin::checking opened mail items on connect");
    const auto started = at("700 Async processor thread started successfully");
    EXPECT_LT(at("700 Application: Outlook, version: 16.0.0.1"), at("700 Use OOM 12 or more"));
    EXPECT_LT(at("700 Use OOM 12 or more"), checking);
    EXPECT_EQ(std::count(checking, started, "700 => OnRead(OU2007)"), 3);
    EXPECT_NE(started, lines.end());
    EXPECT_EQ(tracer_->Count("300 Mail checking failed"), 1u);
    EXPECT_TRUE(std::ranges::count(lines, "300 Mail checking failed"));
    EXPECT_EQ(incoming_, 2) << "those around the one that fails";
    EXPECT_NE(addin_->settings(), nullptr);
}

TEST_F(AddinConnectionTest, FailsForWhatItCannotDoWithoutAlone) {
    struct {
        const char* call;
        HRESULT result;
    } const table[] = {{"GetApplication", E_FAIL},     {"GetName", S_OK},
                       {"GetVersion", S_OK},           {"AdviseEvents", E_ABORT},
                       {"AdviseNewerEvents", E_ABORT}, {"GetOpenItems", S_OK},
                       {"CreateExtension", E_ABORT},   {"AdviseExtension", E_ABORT},
                       {"AdviseInbox", S_OK},          {"GetMapiSession", S_OK}};
    for (const auto& row : table) {
        SCOPED_TRACE(row.call);
        calls_.always = {{row.call, E_ABORT}};
        const std::size_t errors = tracer_->Count("300 ");
        EXPECT_EQ(addin_->OnConnection(*outlook_), row.result);
        EXPECT_GT(tracer_->Count("300 "), errors);
        calls_.always.clear();
        if (row.result == S_OK) {
            Read(NewItem());
            Disconnect();
        }
        EXPECT_EQ(calls_.advised, 0);
        EXPECT_EQ(addin_->settings(), nullptr);
    }
    EXPECT_EQ(incoming_, 5);
    system_.fail_start_thread = 1;
    EXPECT_EQ(addin_->OnConnection(*outlook_), S_OK) << "without a background thread";
    Send(NewItem());
    EXPECT_EQ(outgoing_, 1);
}

TEST_F(AddinConnectionTest, NewerEventsAreThoseOfOutlook12) {
    for (const auto& [version, newer] : {std::pair(u"11.9", 0), {u"12.0", 1}}) {
        Connect(version);
        EXPECT_EQ(calls_.advised, 3 + newer);
        EXPECT_EQ(outlook_->newer_events != nullptr, newer == 1);
        EXPECT_EQ(tracer_->Count("Use OOM 12 or more"), static_cast<std::size_t>(newer));
    }
}

TEST_F(AddinConnectionTest, SurvivesItsEndFromWithinAnyCall) {
    const auto reconnect = [&] { Connect(); };
    for (const char* call :
         {"GetApplication", "GetName", "GetVersion", "AdviseEvents", "AdviseNewerEvents",
          "GetOpenItems", "CreateExtension", "AdviseExtension", "AdviseInbox", "LoadMapi",
          "GetMapiSession", "GetMailItem", "GetSaved", "GetMessage", "ShowCursor"}) {
        for (const bool again : {false, true}) {
            SCOPED_TRACE(testing::Message() << call << (again ? ", connected again" : ""));
            outlook_->open_items = {NewItem()};
            calls_.within[call] = again ? std::function<void()>(reconnect) : [&] { Disconnect(); };
            const std::size_t started = tracer_->Count(kStarted);
            EXPECT_EQ(addin_->OnConnection(*outlook_), E_ABORT);
            EXPECT_EQ(tracer_->Count(kStarted) - started, again ? 1u : 0u);
            EXPECT_EQ(calls_.advised, again ? 4 : 0);
            EXPECT_EQ(addin_->settings() != nullptr, again);
            if (!again) Connect();
            ExpectEverythingWorks();
            Disconnect();
        }
    }
}

TEST_F(AddinConnectionTest, AQuitBeforeTheBackgroundThreadStartsIsKept) {
    outlook_->open_items = {NewItem()};
    calls_.within["ShowCursor"] = [&] { addin_->OnQuit(); };
    EXPECT_EQ(addin_->OnConnection(*outlook_), S_OK);
    EXPECT_EQ(tracer_->Count(kStarted), 0u);
    Connect();
    EXPECT_EQ(tracer_->Count(kStarted), 1u) << "until the next connection";
}

TEST_F(AddinConnectionTest, WhatCannotBeCheckedDoesNotCountAsChecked) {
    const FakeItemPtr item = NewItem();
    calls_.always = {{"LoadMapi", E_FAIL}};
    EXPECT_EQ(addin_->OnConnection(*outlook_), S_OK);
    Read(item);
    EXPECT_EQ(incoming_, 0);
    calls_.always.clear();
    Connect();
    Read(item);
    EXPECT_EQ(incoming_, 1);
}

TEST_F(AddinConnectionTest, DisconnectionEndsEverythingWhateverFails) {
    Connect();
    const FakeItemPtr item = NewItem();
    for (int i = 0; i != 1000; ++i) addin_->OnItemLoad(NewItem());
    addin_->OnItemLoad(item);
    calls_.always = {{"Unadvise", E_FAIL}};
    Disconnect();
    calls_.always.clear();
    EXPECT_EQ(calls_.advised, 0);
    EXPECT_EQ(item.use_count(), 1);
    EXPECT_EQ(tracer_->Count("500 Unadvise failed, hr=0x80004005"), 4u);
    EXPECT_EQ(tracer_->Count("500 ItemEventHandler: unadvise from events failed, hr=0x80004005"),
              1001u);
    EXPECT_EQ(tracer_->Count("Async processor thread stopped"), 1u);
    Send(item);
    EXPECT_EQ(outgoing_, 0);
}

struct Owner final : Faked, ItemNotifications {
    using Faked::Faked;
    HRESULT Follow(const std::shared_ptr<ItemEventHandler>&,
                   EventConnectionPtr& connection) noexcept override {
        connection = std::make_unique<FakeConnection>(calls, [] {});
        return result;
    }
    void ItemRead(const ItemPtr&) noexcept override {}
    HRESULT result = S_OK;
};

TEST_F(AddinConnectionTest, AHalfMadeAdviseIsUndone) {
    struct {
        HRESULT events, owner;
        const char* line;
    } const table[] = {
        {E_ABORT, S_OK, "300 ItemEventHandler: advise to events failed, hr=0x80004004"},
        {S_OK, E_FAIL,
         "300 ItemEventHandler: owner advise failed, hr=0x80004005, unadvising from events.."},
        {S_OK, S_OK, "500 ItemEventHandler: unadvise from events failed, hr=0x80070005"}};
    for (const auto& row : table) {
        Owner owner(calls_);
        owner.result = row.owner;
        const FakeItemPtr item = NewItem();
        const auto handler = std::make_shared<ItemEventHandler>(tracer_);
        calls_.always = {{"AdviseItem", row.events}};
        EXPECT_EQ(handler->Advise(owner, item), row.events != S_OK ? row.events : row.owner);
        calls_.always = {{"Unadvise", E_ACCESSDENIED}};
        handler->Unadvise();
        EXPECT_EQ(tracer_->lines().back(), row.line);
        EXPECT_EQ(item.use_count(), 1);
        EXPECT_EQ(calls_.advised, 0);
        calls_.always.clear();
    }
    EXPECT_EQ(tracer_->Count("500 ItemEventHandler: owner unadvise failed, hr=0x80070005"), 1u);
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
    const std::u16string reached =
        u"OutlookQZAvPlg.PageAntivirus_D7D120AE-F434-406B-9C7C-79C53BC34879|";
    const std::u16string unreached =
        u"OutlookQZAvPlg.PageUnableToConnect_CD555B96-F97C-4333-A28E-0DA60FE00EAC|Mail Antivirus";
    FakePages pages(calls_);
    addin_->OnOptionsPagesAdd(pages);
    EXPECT_EQ(pages.added, unreached);
    const auto texts = vek::MakeObject<Texts>();
    product_->Offer(product::ILocalization::kInterfaceId, texts);
    const std::pair<vek::result_t, std::u16string> table[] = {
        {vek::result::kOk, reached + u"Gr\u00FC\u00DF"},
        {vek::result::kNotFound, reached + u"Mail Antivirus"},
        {vek::result::kRemoteCallFailed, unreached}};
    for (const auto& [result, added] : table) {
        texts->result = result;
        addin_->OnOptionsPagesAdd(pages);
        EXPECT_EQ(pages.added, added);
    }
}

TEST_F(AddinConnectionTest, TheSelectionIsTracedAsItIs) {
    Connect();
    EXPECT_EQ(addin_->GetSelectionItem(), nullptr);
    outlook_->open_items = {NewItem()};
    EXPECT_EQ(addin_->GetSelectionItem(), outlook_->open_items[0]);
    EXPECT_EQ(tracer_->Count("700 Message being processed is of classIPM.Note and its type is43, "
                             "flags is0x00000000"),
              1u);
    static_cast<FakeItem&>(*outlook_->open_items[0]).is_mail = false;
    EXPECT_EQ(addin_->GetSelectionItem(), outlook_->open_items[0]);
    EXPECT_EQ(tracer_->Count("300 "), 0u) << "a task is nothing out of the ordinary";
    calls_.always = {{"GetSelectedItem", E_ABORT}};
    EXPECT_EQ(addin_->GetSelectionItem(), nullptr);
    EXPECT_EQ(tracer_->Count("300 Unable to GetSelectionItem. Error:0x80004004"), 1u);
}

}  // namespace
}  // namespace plugins::mail_processing
