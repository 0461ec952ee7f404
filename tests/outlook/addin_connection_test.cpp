#include "private_include/common/localization.h"
#include "tests/outlook/addin_fixture.h"

namespace plugins::mail_processing {
namespace {

using AddinConnectionTest = AddinFixture;
using ::testing::Each, ::testing::ElementsAre, ::testing::EndsWith, ::testing::HasSubstr;

TEST_F(AddinConnectionTest, GoesInOrder) {
    for (int i = 0; i != 3; ++i) host_->Open(NewMessage());
    const AnyCall order[] = {ObjectCall::kGetApplication,
                             ObjectCall::kName,
                             ObjectCall::kVersion,
                             ObjectCall::kAdviseEvents,
                             ObjectCall::kAdviseNewerEvents,
                             ObjectCall::kOpenItems,
                             OwnCall::kCreateExtension,
                             OwnCall::kAdviseExtension,
                             OwnCall::kLoadMapi,
                             ObjectCall::kMapiSession,
                             ObjectCall::kGetMailItem,
                             OwnCall::kShowCursor};
    for (const AnyCall& call : order)
        Within(call, [&] { EXPECT_EQ(happened_, &call - order + 1); });
    host_->plan().FailNth(ObjectCall::kMapiObject, 2, E_FAIL);
    ASSERT_EQ(addin_->OnConnection(*host_), S_OK);
    EXPECT_EQ(happened_, static_cast<int>(std::size(order)));
    EXPECT_EQ(incoming_, 2) << "those around the one that fails";
    EXPECT_EQ(tracer_->Count("300 Mail checking failed"), 1u);
}

TEST_F(AddinConnectionTest, FailsOnlyForWhatItNeedsAndSurvivesItsEndFromWithinAnyCall) {
    const std::pair<AnyCall, HRESULT> table[] = {
        {ObjectCall::kGetApplication, E_FAIL}, {ObjectCall::kName, S_OK},
        {ObjectCall::kVersion, S_OK},          {ObjectCall::kAdviseEvents, E_ABORT},
        {ObjectCall::kOpenItems, S_OK},        {ObjectCall::kAdviseNewerEvents, E_ABORT},
        {OwnCall::kCreateExtension, E_ABORT},  {OwnCall::kAdviseExtension, E_ABORT},
        {ObjectCall::kAdviseInbox, S_OK},      {ObjectCall::kMapiSession, S_OK},
        {ObjectCall::kGetMailItem, S_OK},      {ObjectCall::kSaved, S_OK},
        {ObjectCall::kMapiObject, S_OK},       {OwnCall::kShowCursor, S_OK},
        {ObjectCall::kUnadvise, S_OK}};
    enum { kFailure, kEnd, kReconnection };
    for (const auto& [call, result] : table) {
        Connect(call == AnyCall(ObjectCall::kAdviseInbox) ? "11" : "16");
        for (const int trouble : {kFailure, kEnd, kReconnection}) {
            SCOPED_TRACE(testing::Message() << &result - &table[0].second << ", " << trouble);
            const bool fails = trouble == kFailure;
            const bool stays = fails ? result == S_OK : trouble == kReconnection;
            if (call != AnyCall(ObjectCall::kUnadvise)) Disconnect();
            const std::string open = NewMessage();
            host_->Open(open);
            if (fails) Fail(call, E_ABORT);
            if (!fails) Within(call, [&] { stays ? Connect() : Disconnect(); });
            const std::size_t started = tracer_->Count(kStarted);
            EXPECT_EQ(addin_->OnConnection(*host_), fails ? result : E_ABORT);
            EXPECT_EQ(tracer_->Count(kStarted) - started, stays ? 1u : 0u);
            EXPECT_EQ(addin_->settings() != nullptr, stays);
            EXPECT_EQ(Advised() != 0, stays);
            if (trouble != kReconnection) Connect();
            ExpectEverythingWorks();
            host_->Close(open);
            ClearPlans();
        }
    }
    Connect();
    Within(ObjectCall::kUnadvise, [&] { Connect(); });
    Fail(ObjectCall::kOpenItems, S_FALSE);
    Disconnect();
    EXPECT_EQ(tracer_->Count("500 The item of an open window cannot be had"), 1u);
    EXPECT_EQ(Advised(), kAdvised) << "a reconnection from within the disconnection stays";
    ExpectEverythingWorks();
}

TEST_F(AddinConnectionTest, EachNewMessageThatCannotBeQueuedIsToldOf) {
    system_.fail_start_thread = 1;
    EXPECT_EQ(addin_->OnConnection(*host_), S_OK) << "without a background thread";
    const OutlookItemPtr item = NewItem(0);
    const auto id = EndsWith(vek::ToUtf8(Id(item))), aa = EndsWith(" AA"), bb = EndsWith(" BB");
    NewMail(u"AA,BB");
    addin_->OnItemAdd(item);
    Client(&ExchangeEvents::OnDelivery, item);
    settings_result_ = vek::result::kRemoteCallFailed, clock_.ticks += 1000;
    NewMail(u"AA,BB");
    const auto told = observer_.Take();
    EXPECT_THAT(told, ElementsAre(aa, bb, id, id, aa, bb));
    const std::string failed = std::to_string(static_cast<int>(SkipReason::kFailed));
    EXPECT_THAT(told, Each(HasSubstr(" skipped " + failed + ' ')));
}

TEST_F(AddinConnectionTest, MapiIsGivenBackAfterTheSession) {
    static std::function<void()> at_end;
    auto table = *functions_;
    table.uninitialize = [] {
        at_end(), sandbox::outlook::MapiSubsystem::Functions().uninitialize();
    };
    functions_ = std::make_shared<const mapi::MapiFunctions>(table);
    std::optional<std::uint32_t> open;
    at_end = [&] { open = mapi_.live_objects(); };
    Within(sandbox::outlook::Call::kInitialize, [&] { Disconnect(); });
    EXPECT_EQ(addin_->OnConnection(*host_), E_ABORT);
    EXPECT_EQ(open, 0u);
    system_.fail_start_thread = 1;
    open.reset();
    EXPECT_EQ(addin_->OnConnection(*host_), S_OK);
    EXPECT_FALSE(open) << "given back although the connection has a session";
    Within(sandbox::outlook::Call::kGetProps, [&] { Disconnect(); });
    Client(&ExchangeEvents::OnRead, NewItem());
    EXPECT_EQ(open, 0u);
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
    Send(item);
    EXPECT_EQ(outgoing_, 0);
    Connect("11");
    EXPECT_EQ(Advised(), kAdvised) << "the inbox's events instead of those of Outlook 12";
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

}  // namespace
}  // namespace plugins::mail_processing
