#include "outlook/Addin.h"

#include <future>

#include "tests/outlook/addin_fixture.h"

namespace plugins::mail_processing {
namespace {

using outlook_call = sandbox::outlook::Call;
using AddinTest = AddinFixture;

const std::string kImpl = "700 plugins::mail_processing::CAddin::ItemReadImpl";
constexpr double kJustNow = 1e-5;  // nearly, in days

TEST_F(AddinTest, ReadDecisions) {
    using Item = std::function<OutlookItemPtr()>;
    const Item usual = [&] { return NewItem(); };
    const Item fresh = [&] { return NewItem(kJustNow); };
    const Item draft = [&] { return NewDraft(); };
    const Item no_sender = [&] { return Shown(mapi_.store().Add({})); };
    const Item no_id = [&] {
        Fail(ObjectCall::kEntryId, E_FAIL);
        return NewItem();
    };
    struct {
        const char* version;
        Item item;
        bool wanted;
        std::string line;
        int checks;
    } const table[] = {
        {"16", usual, true, "Disable onRead thread guard before test property", 1},
        {"16", usual, false, "700 No need to check on read", 0},
        {"15", usual, false, "700 <= OnRead(OU2007)", 0},
        {"14", fresh, true, kImpl + " skip check on read. Message just created", 0},
        {"14", usual, true, "700 Message exists 86400 seconds", 1},
        {"16", fresh, true, "700 Process message with id: ", 1},
        {"16", draft, true, kImpl + " message is not saved, exiting", 0},
        {"16", no_id, true, "700 Disable onRead thread guard before test property", 1},
        {"15", no_id, true, "700 ItemRead: Can not get message entry id.", 1},
        {"16", no_sender, true, "300 HResultCodeException - HRESULT=0x80000051", 0},
    };
    during_check_ = [&] { EXPECT_EQ(cursor_.shown, reinterpret_cast<void*>(32514)); };
    for (const auto& row : table) {
        SCOPED_TRACE(&row - table);
        Settings(true, row.wanted, true);
        Connect(row.version);
        const int before = incoming_;
        const std::size_t lines = tracer_->Count(row.line);
        Read(row.item());
        EXPECT_EQ(incoming_ - before, row.checks);
        EXPECT_EQ(tracer_->Count(row.line), lines + 1);
        Settings(true, true, true);
        ExpectEverythingWorks();
    }
}

TEST_F(AddinTest, AMessageIsCheckedOnceInThirtySecondsAndNotWhileTheBackgroundDoes) {
    Connect();
    const std::string read = NewMessage();
    for (const auto& [seconds, checks] : {std::pair(0, 1), {30, 1}, {31, 2}}) {
        clock_.utc += static_cast<std::uint64_t>(seconds) * 10'000'000;
        Read(Shown(read));
        EXPECT_EQ(incoming_, checks);
        clock_.utc -= static_cast<std::uint64_t>(seconds) * 10'000'000;
    }

    ASSERT_EQ(addin_->OnConnection(*host_), S_OK);
    std::promise<void> begun, end;
    during_check_ = [&] { begun.set_value(), end.get_future().wait(); };
    const OutlookItemPtr arrived = NewItem();
    NewMail(Id(arrived));
    begun.get_future().wait();
    Read(arrived);
    end.set_value();
    Disconnect();
    EXPECT_EQ(incoming_, 3);
    EXPECT_EQ(tracer_->Count("MailItem is being currently processed in background, skipping"), 1u);
}

TEST_F(AddinTest, SendDecisions) {
    struct {
        bool wanted, saved;
        std::optional<ObjectCall> failing;
        const char* line;
        std::uint32_t saves;
        int checks;
    } const table[] = {
        {true, true, {}, "700 OnItemSend: message checked", 0, 1},
        {false, true, {}, "700 OnItemSend: No need to check on send", 0, 0},
        {true, false, {}, "700 OnItemSend: Mail item is not saved, save it", 1, 1},
        {true, true, ObjectCall::kSaved, "700 OnItemSend: Mail item is not saved, save it", 1, 1},
        {true, false, ObjectCall::kSave, "300 HResultCodeException - HRESULT=0x80004004", 1, 0}};
    Connect();
    for (const auto& row : table) {
        SCOPED_TRACE(&row - table);
        Settings(true, true, row.wanted);
        if (row.failing) Fail(*row.failing, E_ABORT);
        const std::uint32_t saves = host_->plan().Count(ObjectCall::kSave);
        const int before = outgoing_;
        const std::size_t lines = tracer_->Count(row.line);
        Send(row.saved ? NewItem() : NewDraft());
        EXPECT_EQ(outgoing_ - before, row.checks);
        EXPECT_EQ(tracer_->Count(row.line), lines + 1);
        EXPECT_EQ(host_->plan().Count(ObjectCall::kSave) - saves, row.saves);
    }
}

TEST_F(AddinTest, NewMailIsQueuedWhereItIsWanted) {
    Connect();
    const OutlookItemPtr old = NewItem(), fresh = NewItem(kJustNow);
    const std::pair<std::function<void()>, std::string> table[] = {
        {[&] { addin_->OnNewMailEx(nullptr); }, "700 OnNewMailEx <empty>"},
        {[&] { NewMail(u",,"); }, "700 OnNewMailEx ,,"},
        {[&] { NewMail(u"AA,BB"); }, "700 OnNewMailEx AA,BB"},
        {[&] { addin_->OnItemAdd(old); },
         "It is not new mail item. Skip it: " + vek::ToUtf8(Id(old))},
        {[&] { addin_->OnItemAdd(fresh); }, "Process item as new mail: " + vek::ToUtf8(Id(fresh))}};
    for (const auto& [event, line] : table) {
        event();
        EXPECT_EQ(tracer_->Count(line), 1u) << line;
    }
    EXPECT_EQ(Queued(), 3u);
    Settings(false, true, true);
    NewMail(u"CC");
    EXPECT_EQ(Queued(), 3u);
    EXPECT_EQ(tracer_->Count("OnNewMailEx no need to check"), 1u);
}

TEST_F(AddinTest, EveryFailingCallStaysWithinItsHandler) {
    using Event = std::function<void()>;
    const Event events[] = {[&] { Read(NewItem()); },
                            [&] { Send(NewDraft()); },
                            [&] { addin_->OnItemAdd(NewItem()); },
                            [&] { host_->OpenOptions(); },
                            [&] { addin_->GetSelectionItem(); },
                            [&] { Client(&ExchangeEvents::OnRead, NewItem()); },
                            [&] { Client(&ExchangeEvents::OnDelivery, NewItem()); }};
    Connect("14");
    host_->Select(NewMessage());
    std::size_t failures = 0;
    for (const Event& event : events) {
        const auto fail_each = [&](auto& plan) {
            const std::uint32_t before = plan.Total();
            event();
            const std::uint32_t calls = plan.Total() - before;
            for (std::uint32_t nth = 1; nth <= calls; ++nth, ++failures) {
                SCOPED_TRACE(testing::Message() << &event - events << " call " << nth);
                plan.FailNthOfAll(nth, E_ACCESSDENIED);
                const std::size_t lines = tracer_->Count("300 ") + tracer_->Count("500 ");
                event();
                EXPECT_GT(tracer_->Count("300 ") + tracer_->Count("500 "), lines);
                ClearPlans();
                ExpectEverythingWorks();
            }
        };
        fail_each(host_->plan());
        fail_each(mapi_.faults());
    }
    EXPECT_GT(failures, 25u) << "the handlers do not reach Outlook";
}

TEST_F(AddinTest, HandlersEnteredFromWithinEachOther) {
    using Event = std::function<void(const OutlookItemPtr&)>;
    const Event read = [&](auto& item) { Read(item); };
    const Event send = [&](auto& item) { Send(item); };
    const Event add = [&](auto& item) { addin_->OnItemAdd(item); };
    const Event mail = [&](auto& item) { NewMail(Id(item)); };
    const Event shown = [](auto& item) { item->FireRead(); };
    const Event unload = [](auto& item) { item->FireUnload(); };
    const Event quit = [&](auto&) { Disconnect(); };
    const Event load = [&](auto& item) { addin_->OnItemLoad(item); };
    const Event add_fresh = [&](auto&) { addin_->OnItemAdd(NewItem(0)); };
    const Event client_read = [&](auto& item) { Client(&ExchangeEvents::OnRead, item); };
    const Event read_without_id = [&](auto& item) {
        Fail(ObjectCall::kEntryId, E_FAIL);
        Read(item);
    };
    const Event read_then_send = [&](auto&) {
        Read(NewItem());
        Within(OwnCall::kShowCursor, [&] { Send(NewItem()); });
    };
    const auto read_busy = "700 OnItemSend: Item read is already processing this message";
    const std::string send_busy = kImpl + " Item send is already processing this message";
    const std::string add_busy = kImpl + " Item add is already processing this message";
    const auto mail_busy = "700 OnNewMail: Item read is already processing this message";
    const auto queued = "message not added to queue", sent = "OnItemSend: message checked";
    const auto gone = "300 CheckFailedException", checked = "was recently checked on read";
    const AnyCall get_mail = ObjectCall::kGetMailItem, advise = ObjectCall::kAdviseItem,
                  id = ObjectCall::kEntryId, saved = ObjectCall::kSaved,
                  open = ObjectCall::kMapiObject, cursor = OwnCall::kShowCursor,
                  property = outlook_call::kGetProps;
    struct {
        const char* name;
        Event outer;
        AnyCall at;
        Event inner;
        std::string line;
        int incoming, outgoing;
    } const table[] = {
        {"send in read", read, open, send, read_busy, 1, 0},
        {"send in test property", read, property, send, sent, 1, 1},
        {"read in send", send, saved, read, send_busy, 0, 1},
        {"read in check on send", send, cursor, read, send_busy, 0, 1},
        {"read in add", add, id, read, add_busy, 0, 0},
        {"new mail in read", read, saved, mail, mail_busy, 1, 0},
        {"new mail in test property", read, property, mail, queued, 1, 0},
        {"add in read", read, saved, add_fresh, mail_busy, 1, 0},
        {"add in send", send, saved, add_fresh, queued, 0, 1},
        {"send in add", add, id, send, sent, 0, 1},
        {"new mail in send", send, saved, mail, queued, 0, 1},
        {"new mail in add", add, id, mail, queued, 0, 0},
        {"add in add", add, id, add_fresh, queued, 0, 0},
        {"send in send", send, saved, send, sent, 0, 2},
        {"send in the client's read", client_read, property, send, read_busy, 1, 0},
        {"new mail in the client's read", client_read, property, mail, mail_busy, 1, 0},
        {"read in read", read, saved, shown, checked, 1, 0},
        {"later read in read", read, open, shown, checked, 1, 0},
        {"flag taken back", read_without_id, property, read_then_send, read_busy, 2, 0},
        {"unload in read", read, open, unload, "700 <= ProcessMessage", 1, 0},
        {"unload in load", load, advise, unload, "700 <= OnItemLoad", 0, 0},
        {"disconnection in read", read, open, quit, gone, 0, 0},
        {"disconnection in send", send, saved, quit, gone, 0, 0},
        {"disconnection in add", add_fresh, id, quit, "OnNewMailEx no need", 0, 0},
        {"disconnection in load", load, get_mail, quit, "700 <= OnItemLoad", 0, 0},
        {"disconnection in its advise", load, advise, quit, "700 <= OnItemLoad", 0, 0}};
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        Connect("15");
        const OutlookItemPtr item = NewItem();
        const int incoming = incoming_, outgoing = outgoing_, happened = happened_;
        const std::size_t lines = tracer_->Count(row.line);
        Within(row.at, [&] { row.inner(item); });
        row.outer(item);
        EXPECT_GT(happened_, happened);
        EXPECT_GT(tracer_->Count(row.line), lines);
        EXPECT_EQ(outgoing_ - outgoing, row.outgoing);
        EXPECT_EQ(incoming_ - incoming, row.incoming);
        EXPECT_EQ(Advised(), addin_->settings() ? kAdvised : 0) << "an item is followed still";
        ClearPlans();
        Connect("15");
        ExpectEverythingWorks();
    }
}

}  // namespace
}  // namespace plugins::mail_processing
