#include "outlook/Addin.h"

#include <future>

#include "tests/outlook/addin_fixture.h"

namespace plugins::mail_processing {
namespace {

const std::string kImpl = "700 plugins::mail_processing::CAddin::ItemReadImpl";
constexpr double kJustNow = 1e-5;  // nearly, in days
constexpr auto kClientRead = &ExchangeEvents::OnRead;
constexpr auto kClientDelivery = &ExchangeEvents::OnDelivery;

class AddinTest : public AddinFixture {
protected:
    // A letter for each: incoming and outgoing checks, messages queued, items saved.
    std::string Effects(const std::function<void()>& event) {
        const auto count = [this] {
            return std::array<std::size_t, 4>{static_cast<std::size_t>(incoming_),
                                              static_cast<std::size_t>(outgoing_), Queued(),
                                              host_->plan().Count(ObjectCall::kSave)};
        };
        const auto before = count();
        event();
        const auto after = count();
        std::string effects;
        for (std::size_t i = 0; i != before.size(); ++i)
            effects.append(after[i] - before[i], "ioqs"[i]);
        return effects;
    }
};

TEST_F(AddinTest, Decisions) {
    const auto failing = [&](ObjectCall call, OutlookItemPtr item) {
        Fail(call, E_ABORT);
        return item;
    };
    const auto read_no_id = [&] { Read(failing(ObjectCall::kEntryId, NewItem())); };
    const auto save_line = "700 OnItemSend: Mail item is not saved, save it";
    struct {
        const char* version;
        bool wanted;
        std::function<void()> event;
        std::string line;
        std::string effects;
    } const table[] = {
        {"16", true, [&] { Read(NewItem()); }, "Disable onRead thread guard before test", "i"},
        {"16", false, [&] { Read(NewItem()); }, "700 No need to check on read", ""},
        {"15", false, [&] { Read(NewItem()); }, "700 <= OnRead(OU2007)", ""},
        {"14", true, [&] { Read(NewItem(kJustNow)); },
         kImpl + " skip check on read. Message just created", ""},
        {"14", true, [&] { Read(NewItem()); }, "700 Message exists 86400 seconds", "i"},
        {"14", true, [&] { Read(NewItem(2.0 / 86400)); }, "700 Message exists 2 seconds", "i"},
        {"16", true, [&] { Read(NewItem(kJustNow)); }, "700 Process message with id: ", "i"},
        {"16", true, [&] { Read(NewDraft()); }, kImpl + " message is not saved, exiting", ""},
        {"16", true, read_no_id, "Disable onRead thread guard before test property", "i"},
        {"15", true, read_no_id, "700 ItemRead: Can not get message entry id.", "i"},
        {"16", true, [&] { Read(Shown(mapi_.store().Add({}))); },
         "300 HResultCodeException - HRESULT=0x80000051", ""},
        {"16", true, [&] { Send(NewItem()); }, "700 OnItemSend: message checked", "o"},
        {"16", false, [&] { Send(NewItem()); }, "700 OnItemSend: No need to check on send", ""},
        {"16", true, [&] { Send(NewDraft()); }, save_line, "os"},
        {"16", true, [&] { Send(failing(ObjectCall::kSaved, NewItem())); }, save_line, "os"},
        {"16", true, [&] { Send(failing(ObjectCall::kSave, NewDraft())); },
         "300 HResultCodeException - HRESULT=0x80004004", "s"},
        {"16", true, [&] { addin_->OnNewMailEx(nullptr); }, "700 OnNewMailEx <empty>", ""},
        {"16", true, [&] { NewMail(u",,"); }, "700 OnNewMailEx ,,", ""},
        {"16", true, [&] { NewMail(u"AA,BB"); }, "700 OnNewMailEx AA,BB", "qq"},
        {"16", false, [&] { NewMail(u"AA"); }, "700 OnNewMailEx no need to check", ""},
        {"16", true, [&] { addin_->OnItemAdd(NewItem()); },
         "700 It is not new mail item. Skip it: 0", ""},
        {"16", true, [&] { addin_->OnItemAdd(NewItem(kJustNow)); },
         "700 Process item as new mail: 0", "q"},
        {"16", true, [&] { Client(kClientRead, NewItem()); }, "700 => OnRead(OU2003)", "i"},
        {"16", false, [&] { Client(kClientRead, NewItem()); }, "700 No need to check on read", ""},
        {"16", true, [&] { Client(kClientDelivery, NewItem()); }, "700 => OnDelivery", "q"},
        {"16", false, [&] { Client(kClientDelivery, NewItem()); },
         "700 OnDelivery no need to check", ""},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(&row - table);
        Settings(row.wanted, row.wanted, row.wanted);
        Connect(row.version);
        const std::size_t lines = tracer_->Count(row.line);
        EXPECT_EQ(Effects(row.event), row.effects);
        EXPECT_EQ(tracer_->Count(row.line), lines + 1);
        ClearPlans();
        Settings(true, true, true);
        ExpectEverythingWorks();
    }
}

TEST_F(AddinTest, AMessageIsCheckedOnceInThirtySecondsAndNotWhileTheBackgroundDoes) {
    Connect();
    during_check_ = [&] { EXPECT_EQ(cursor_.shown, reinterpret_cast<void*>(32514)); };
    Read(NewItem());
    during_check_ = [] {};
    incoming_ = 0;
    const std::string read = NewMessage();
    for (const auto& [seconds, checks] : {std::pair(0, 1), {30, 1}, {31, 2}}) {
        clock_.utc += static_cast<std::uint64_t>(seconds) * 10'000'000;
        Client(kClientRead, Shown(read));
        Read(Shown(read));
        EXPECT_EQ(incoming_, checks);
        clock_.utc -= static_cast<std::uint64_t>(seconds) * 10'000'000;
    }
    EXPECT_EQ(tracer_->Count(" was recently checked on read, skipping"), 4u);

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

TEST_F(AddinTest, EveryFailingCallStaysWithinItsHandler) {
    using Event = std::function<void()>;
    const Event events[] = {[&] { Read(NewItem()); },
                            [&] { Send(NewDraft()); },
                            [&] { addin_->OnItemAdd(NewItem()); },
                            [&] { host_->OpenOptions(); },
                            [&] { addin_->GetSelectionItem(); },
                            [&] { Client(kClientRead, NewItem()); },
                            [&] { Client(kClientDelivery, NewItem()); }};
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
    const Event client_read = [&](auto& item) { Client(kClientRead, item); };
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
                  property = sandbox::outlook::Call::kGetProps;
    struct {
        const char* name;
        Event outer;
        AnyCall at;
        Event inner;
        std::string line, effects;
    } const table[] = {
        {"send in read", read, open, send, read_busy, "i"},
        {"send in test property", read, property, send, sent, "io"},
        {"send in check on read", read, cursor, send, sent, "io"},
        {"read in send", send, saved, read, send_busy, "o"},
        {"read in check on send", send, cursor, read, send_busy, "o"},
        {"read in add", add, id, read, add_busy, ""},
        {"new mail in read", read, saved, mail, mail_busy, "i"},
        {"new mail in test property", read, property, mail, queued, "iq"},
        {"add in read", read, saved, add_fresh, mail_busy, "i"},
        {"add in send", send, saved, add_fresh, queued, "oq"},
        {"send in add", add, id, send, sent, "o"},
        {"new mail in send", send, saved, mail, queued, "oq"},
        {"new mail in add", add, id, mail, queued, "q"},
        {"add in add", add, id, add_fresh, queued, "q"},
        {"send in send", send, saved, send, sent, "oo"},
        {"send in the client's read", client_read, property, send, read_busy, "i"},
        {"new mail in the client's read", client_read, property, mail, mail_busy, "i"},
        {"read in read", read, saved, shown, checked, "i"},
        {"later read in read", read, open, shown, checked, "i"},
        {"flag taken back", read_without_id, property, read_then_send, read_busy, "ii"},
        {"unload in read", read, open, unload, "700 <= ProcessMessage", "i"},
        {"unload in load", load, advise, unload, "700 <= OnItemLoad", ""},
        {"disconnection in read", read, open, quit, gone, ""},
        {"disconnection in send", send, saved, quit, gone, ""},
        {"disconnection in add", add_fresh, id, quit, "OnNewMailEx no need", ""},
        {"disconnection in load", load, get_mail, quit, "700 <= OnItemLoad", ""},
        {"disconnection in its advise", load, advise, quit, "700 <= OnItemLoad", ""}};
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        Connect("15");
        const OutlookItemPtr item = NewItem();
        const int happened = happened_;
        const std::size_t lines = tracer_->Count(row.line);
        Within(row.at, [&] { row.inner(item); });
        EXPECT_EQ(Effects([&] { row.outer(item); }), row.effects);
        EXPECT_GT(happened_, happened);
        EXPECT_GT(tracer_->Count(row.line), lines);
        EXPECT_EQ(Advised(), addin_->settings() ? kAdvised : 0) << "an item is followed still";
        ClearPlans();
        Connect("15");
        ExpectEverythingWorks();
    }
}

}  // namespace
}  // namespace plugins::mail_processing
