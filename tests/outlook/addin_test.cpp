#include "outlook/Addin.h"

#include <future>

#include "tests/outlook/addin_fixture.h"

namespace plugins::mail_processing {
namespace {

using outlook_call = tests::outlook::Call;
using AddinTest = AddinFixture;
using Change = std::function<void(FakeItem&)>;

const std::string kImpl = "700 plugins::mail_processing::CAddin::ItemReadImpl";

TEST_F(AddinTest, ReadDecisions) {
    const Change none = [](FakeItem&) {};
    const Change fresh = [this](FakeItem& item) { item.created = LocalOleDate(clock_) - 1e-5; };
    const Change no_id = [](FakeItem& item) { item.entry_id.clear(); };
    const Change unsaved = [](FakeItem& item) { item.saved = 1; };  // nearly
    const std::string just_created = kImpl + " skip check on read. Message just created";
    const Change no_sender = [this](FakeItem& item) {
        item.open = [this] { return mapi_.NewMessage({}); };
    };
    struct {
        const char* name;
        std::u16string version;
        Change change;
        bool wanted;
        std::string line;
        int checks;
    } const table[] = {
        {"ordinary", u"16.0", none, true, "Disable onRead thread guard before test property", 1},
        {"not wanted", u"16.0", none, false, "700 No need to check on read", 0},
        {"not wanted, 15", u"15.0", none, false, "700 <= OnRead(OU2007)", 0},
        {"just created, 14", u"14.0", fresh, true, just_created, 0},
        {"a day old, 14", u"14.0", none, true, "700 Message exists 86400 seconds", 1},
        {"just created, 16", u"16.0", fresh, true, "700 Process message with id: ", 1},
        {"unsaved", u"16.0", unsaved, true, kImpl + " message is not saved, exiting", 0},
        {"no id", u"16.0", no_id, true, "700 ItemRead: Can not get message entry id.", 1},
        {"no id, 15", u"15.0", no_id, true, "700 ItemRead: Can not get message entry id.", 1},
        {"no sender", u"16.0", no_sender, true, "300 HResultCodeException - HRESULT=0x80000051", 0},
    };
    during_check_ = [&] { EXPECT_EQ(cursor_.shown, reinterpret_cast<void*>(32514)); };
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        Settings(true, row.wanted, true);
        Connect(row.version);
        const int before = incoming_;
        const std::size_t lines = tracer_->Count(row.line);
        const FakeItemPtr item = NewItem();
        row.change(*item);
        Read(item);
        EXPECT_EQ(incoming_ - before, row.checks);
        EXPECT_EQ(tracer_->Count(row.line), lines + 1);
        Settings(true, true, true);
        ExpectEverythingWorks();
    }
}

TEST_F(AddinTest, AMessageIsCheckedOnceInThirtySecondsAndNotWhileTheBackgroundDoes) {
    Connect();
    const FakeItemPtr item = NewItem();
    for (const auto& [seconds, checks] : {std::pair(0, 1), {30, 1}, {31, 2}}) {
        clock_.utc += static_cast<std::uint64_t>(seconds) * 10'000'000;
        Read(item);
        EXPECT_EQ(incoming_, checks);
        clock_.utc -= static_cast<std::uint64_t>(seconds) * 10'000'000;
    }

    Disconnect();
    ASSERT_EQ(addin_->OnConnection(*outlook_), S_OK);
    std::promise<void> begun, end;
    during_check_ = [&] { begun.set_value(), end.get_future().wait(); };
    const FakeItemPtr arrived = NewItem();
    NewMail(arrived->entry_id);
    begun.get_future().wait();
    Read(arrived);
    end.set_value();
    Disconnect();
    EXPECT_EQ(incoming_, 3);
    EXPECT_EQ(tracer_->Count("MailItem is being currently processed in background, skipping"), 1u);
}

TEST_F(AddinTest, SendDecisions) {
    struct {
        bool wanted;
        std::int16_t saved;
        HRESULT get_saved, save;
        const char* line;
        int saves, checks;
    } const table[] = {
        {true, kVariantTrue, S_OK, S_OK, "700 OnItemSend: message checked", 0, 1},
        {false, 0, S_OK, S_OK, "700 OnItemSend: No need to check on send", 0, 0},
        {true, 0, S_OK, S_OK, "700 OnItemSend: Mail item is not saved, save it", 1, 1},
        {true, kVariantTrue, E_FAIL, S_OK, "700 OnItemSend: Mail item is not saved, save it", 1, 1},
        {true, 0, S_OK, E_ABORT, "300 HResultCodeException - HRESULT=0x80004004", 1, 0}};
    Connect();
    for (const auto& row : table) {
        Settings(true, true, row.wanted);
        calls_.names.clear();
        calls_.always = {{"GetSaved", row.get_saved}, {"Save", row.save}};
        const int before = outgoing_;
        const std::size_t lines = tracer_->Count(row.line);
        const FakeItemPtr item = NewItem();
        item->saved = row.saved;
        Send(item);
        EXPECT_EQ(outgoing_ - before, row.checks);
        EXPECT_EQ(tracer_->Count(row.line), lines + 1);
        EXPECT_EQ(std::ranges::count(calls_.names, "Save"), row.saves);
        calls_.always.clear();
    }
}

TEST_F(AddinTest, NewMailIsQueuedWhereItIsWanted) {
    Connect();
    const std::u16string* const nothing = nullptr;
    addin_->OnNewMailEx(nothing);
    NewMail(u",,");
    EXPECT_EQ(Queued(), 0u);
    NewMail(u"AA,BB");
    EXPECT_EQ(Queued(), 2u);
    EXPECT_EQ(tracer_->Count("700 OnNewMailEx <empty>"), 1u);
    EXPECT_EQ(tracer_->Count("700 OnNewMailEx AA,BB"), 1u);

    const FakeItemPtr old = NewItem(), fresh = NewItem();
    fresh->created = LocalOleDate(clock_) - 1e-5;
    addin_->OnItemAdd(old);
    addin_->OnItemAdd(fresh);
    EXPECT_EQ(Queued(), 3u);
    EXPECT_EQ(tracer_->Count("It is not new mail item. Skip it: " + vek::ToUtf8(old->entry_id)),
              1u);
    EXPECT_EQ(tracer_->Count("Process item as new mail: " + vek::ToUtf8(fresh->entry_id)), 1u);

    Settings(false, true, true);
    NewMail(u"CC");
    EXPECT_EQ(tracer_->Count("OnNewMailEx no need to check"), 1u);
}

TEST_F(AddinTest, EveryFailingCallStaysWithinItsHandler) {
    FakePages pages(calls_);
    using Event = std::function<void(const FakeItemPtr&)>;
    auto*& client = outlook_->exchange_events;
    const std::pair<const char*, Event> events[] = {
        {"read", [&](const FakeItemPtr& item) { Read(item); }},
        {"send", [&](const FakeItemPtr& item) { item->saved = 0, Send(item); }},
        {"add", [&](const FakeItemPtr& item) { addin_->OnItemAdd(item); }},
        {"pages", [&](const FakeItemPtr&) { addin_->OnOptionsPagesAdd(pages); }},
        {"selection", [&](const FakeItemPtr&) { addin_->GetSelectionItem(); }},
        {"OnRead", [&](const FakeItemPtr& item) { client->OnRead(Callback(item).get()); }},
        {"OnDelivery", [&](const FakeItemPtr& item) { client->OnDelivery(Callback(item).get()); }}};
    Connect(u"14.0");
    outlook_->open_items = {NewItem()};
    std::size_t failures = 0;
    for (const auto& [name, event] : events) {
        calls_.names.clear();
        const std::uint32_t before = mapi_.faults().Total();
        event(NewItem());
        const int outlooks = static_cast<int>(calls_.names.size());
        const int mapis = static_cast<int>(mapi_.faults().Total() - before);
        for (int nth = 1; nth <= outlooks + mapis; ++nth) {
            SCOPED_TRACE(testing::Message() << name << " call " << nth);
            const FakeItemPtr item = NewItem();
            if (nth <= outlooks) {
                calls_.fail_at = nth;
            } else {
                mapi_.faults().FailNthOfAll(static_cast<std::uint32_t>(nth - outlooks), E_FAIL);
            }
            const std::size_t first = calls_.names.size(), errors = tracer_->Count("300 ");
            event(item);
            // Showing the pointer cannot fail, and the end of a subscription that does is routine.
            const std::string call =
                nth > outlooks ? "" : calls_.names.at(first + static_cast<std::size_t>(nth) - 1);
            const bool routine = call == "ShowCursor" || call == "Unadvise";
            EXPECT_TRUE(routine || tracer_->Count("300 ") > errors) << call;
            calls_.fail_at = 0;
            mapi_.faults().Clear();
            ExpectEverythingWorks();
            ++failures;
        }
    }
    EXPECT_GT(failures, 30u) << "the handlers do not reach Outlook";
}

TEST_F(AddinTest, HandlersEnteredFromWithinEachOther) {
    using Event = std::function<void(const FakeItemPtr&)>;
    const Event read = [&](const FakeItemPtr& item) { Read(item); };
    const Event send = [&](const FakeItemPtr& item) { Send(item); };
    const Event add = [&](const FakeItemPtr& item) { addin_->OnItemAdd(item); };
    const Event mail = [&](const FakeItemPtr& item) { NewMail(item->entry_id); };
    const Event shown = [&](const FakeItemPtr& item) { item->events->OnRead(); };
    const Event unload = [&](const FakeItemPtr& item) { item->events->OnUnload(); };
    const auto read_busy = "700 OnItemSend: Item read is already processing this message";
    const std::string send_busy = kImpl + " Item send is already processing this message";
    const std::string add_busy = kImpl + " Item add is already processing this message";
    const Event quit = [&](const FakeItemPtr&) { Disconnect(); };
    const Event load = [&](const FakeItemPtr& item) { addin_->OnItemLoad(item); };
    const Event add_fresh = [&](const FakeItemPtr&) {
        const FakeItemPtr fresh = NewItem();
        fresh->created = LocalOleDate(clock_);
        addin_->OnItemAdd(fresh);
    };
    const Event client_read = [&](const FakeItemPtr& item) {
        outlook_->exchange_events->OnRead(Callback(item).get());
    };
    const auto mail_busy = "700 OnNewMail: Item read is already processing this message";
    const auto queued = "message not added to queue", sent = "OnItemSend: message checked";
    const auto gone = "300 CheckFailedException";
    const Event read_then_send = [&](const FakeItemPtr&) {
        Read(NewItem());
        calls_.within["ShowCursor"] = [&] { Send(NewItem()); };
    };
    struct {
        const char* name;
        Event outer;
        const char* at;  // null: in the test property
        Event inner;
        std::string line;
        int incoming, outgoing;
    } const table[] = {
        {"send in read", read, "GetMessage", send, read_busy, 1, 0},
        {"send in test property", read, nullptr, send, sent, 1, 1},
        {"read in send", send, "GetSaved", read, send_busy, 0, 1},
        {"read in check on send", send, "ShowCursor", read, send_busy, 0, 1},
        {"read in add", add, "GetEntryId", read, add_busy, 0, 0},
        {"new mail in read", read, "GetSaved", mail, mail_busy, 1, 0},
        {"new mail in test property", read, nullptr, mail, queued, 1, 0},
        {"add in read", read, "GetSaved", add_fresh, mail_busy, 1, 0},
        {"add in send", send, "GetSaved", add_fresh, queued, 0, 1},
        {"send in add", add, "GetEntryId", send, sent, 0, 1},
        {"new mail in send", send, "GetSaved", mail, queued, 0, 1},
        {"new mail in add", add, "GetEntryId", mail, queued, 0, 0},
        {"add in add", add, "GetEntryId", add_fresh, queued, 0, 0},
        {"send in send", send, "GetSaved", send, sent, 0, 2},
        {"send in the client's read", client_read, nullptr, send, read_busy, 1, 0},
        {"new mail in the client's read", client_read, nullptr, mail, mail_busy, 1, 0},
        {"read in read", read, "GetSaved", shown, "was recently checked on read, skipping", 1, 0},
        {"later read in read", read, "GetMessage", shown, "was recently checked on read", 1, 0},
        {"flag taken back", read, "GetSaved", read_then_send, read_busy, 2, 0},
        {"unload in read", read, "GetMessage", unload, "700 <= ProcessMessage", 1, 0},
        {"unload in load", load, "AdviseItem", unload, "700 <= OnItemLoad", 0, 0},
        {"disconnection in read", read, "GetMessage", quit, gone, 0, 0},
        {"disconnection in send", send, "GetSaved", quit, gone, 0, 0},
        {"disconnection in add", add_fresh, "GetEntryId", quit, "OnNewMailEx no need", 0, 0},
        {"disconnection in load", load, "GetMailItem", quit, "700 <= OnItemLoad", 0, 0},
        {"disconnection in its advise", load, "AdviseItem", quit, "700 <= OnItemLoad", 0, 0}};
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        const bool taken_back = row.name == std::string("flag taken back");
        Connect(taken_back ? u"15.0" : u"16.0");
        const FakeItemPtr item = NewItem();
        if (taken_back) item->entry_id.clear();
        const int incoming = incoming_, outgoing = outgoing_;
        const std::size_t lines = tracer_->Count(row.line);
        const auto inner = [&] { row.inner(item); };
        if (row.at == nullptr) {
            mapi_.faults().RunAtNth(outlook_call::kGetProps, 1, inner);
        } else {
            calls_.within[row.at] = inner;
        }
        row.outer(item);
        EXPECT_TRUE(calls_.within.empty());
        EXPECT_GT(tracer_->Count(row.line), lines);
        EXPECT_EQ(outgoing_ - outgoing, row.outgoing);
        EXPECT_EQ(incoming_ - incoming, row.incoming);
        EXPECT_EQ(calls_.advised, addin_->settings() ? 4 : 0) << "an item is followed still";
        mapi_.faults().Clear();
        Connect();
        ExpectEverythingWorks();
    }
}

}  // namespace
}  // namespace plugins::mail_processing
