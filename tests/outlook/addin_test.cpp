#include "outlook/Addin.h"

#include <future>

#include "tests/outlook/addin_fixture.h"

namespace plugins::mail_processing {
namespace {

using enum SkipReason;
using ::testing::ElementsAre;
using Event = std::function<void()>;
using Reasons = std::vector<SkipReason>;

constexpr double kJustNow = 1e-5;  // nearly, in days
constexpr auto kClientRead = &ExchangeEvents::OnRead;
constexpr auto kClientDelivery = &ExchangeEvents::OnDelivery;

class AddinTest : public AddinFixture {
protected:
    // Raises an event: `effects` has a letter for each incoming and outgoing check and each item
    // saved. What is queued is skipped as Outlook is closing.
    void Expect(const Event& event, const std::string& effects, const Reasons& reasons,
                vek::result_t failure = kAborted) {
        const auto count = [this] {
            return std::array{incoming_.load(), outgoing_.load(),
                              static_cast<int>(host_->plan().Count(ObjectCall::kSave))};
        };
        Skipped();
        const auto before = count();
        event();
        const auto after = count();
        std::string seen;
        for (std::size_t i = 0; i != before.size(); ++i)
            seen.append(static_cast<std::size_t>(after[i] - before[i]), "ios"[i]);
        EXPECT_EQ(seen, effects);
        std::vector<std::string> told;
        for (const SkipReason reason : reasons) told.push_back(Told(reason, failure));
        EXPECT_EQ(Skipped(), told);
    }
};

TEST_F(AddinTest, Decisions) {
    using enum ObjectCall;
    const auto failing = [&](ObjectCall call) {
        Fail(call, E_ABORT);
        return NewItem();
    };
    const Event wanted_after_load = [&] {
        const OutlookItemPtr item = NewItem();
        addin_->OnItemLoad(item);
        Settings(true, true, true);
        item->FireRead();
        item->FireUnload();
    };
    const std::string without_id = mapi_.store().Add({});
    struct {
        const char* version;
        bool wanted;
        Event event;
        std::string effects;
        Reasons reasons = {};
        vek::result_t failure = kAborted;
    } const table[] = {
        {"16", true, [&] { Read(NewItem()); }, "i"},
        {"16", false, wanted_after_load, "", {kNotWanted}},
        {"15", false, wanted_after_load, "i"},
        {"15", false, [&] { Read(NewItem()); }, "", {kNotWanted}},
        {"14", true, [&] { Read(NewItem(kJustNow)); }, "", {kJustCreated}},
        {"14", true, [&] { Read(NewItem(2.0 / 86400)); }, "i"},
        {"16", true, [&] { Read(NewItem(kJustNow)); }, "i"},
        {"16", true, [&] { Read(NewDraft()); }, "", {kNotSaved}},
        {"16", true, [&] { addin_->OnItemLoad(failing(kAdviseItem)); }, "", {kFailed}},
        {"16", true, [&] { Read(failing(kEntryId)); }, "i"},
        {"16", true, [&] { Read(Shown(without_id)); }, "", {kFailed}, 0x80000051},
        {"16", true, [&] { Send(NewItem()); }, "o"},
        {"16", false, [&] { Send(NewItem()); }, "", {kNotWanted}},
        {"16", true, [&] { Send(NewDraft()); }, "os"},
        {"16", true, [&] { Send(failing(kSaved)); }, "os"},
        {"16", true, [&] { Fail(kSave, E_ABORT), Send(NewDraft()); }, "s", {kFailed}},
        {"16", true, [&] { addin_->OnNewMailEx(nullptr); }, ""},
        {"16", true, [&] { NewMail(u"AA,,BB"); }, "", {kClosing, kClosing}},
        {"16", false, [&] { NewMail(u"AA,BB"); }, "", {kNotWanted, kNotWanted}},
        {"16", true, [&] { addin_->OnItemAdd(NewItem()); }, "", {kNotNew}},
        {"16", true, [&] { addin_->OnItemAdd(NewItem(kJustNow)); }, "", {kClosing}},
        {"16", true, [&] { addin_->OnItemAdd(failing(kCreationTime)); }, "", {kFailed}},
        {"16", true, [&] { Client(kClientRead, NewItem()); }, "i"},
        {"16", false, [&] { Client(kClientRead, NewItem()); }, "", {kNotWanted}},
        {"16", true, [&] { Client(kClientRead, failing(kExtObject)); }, "", {kFailed}},
        {"16", true, [&] { Client(kClientDelivery, NewItem()); }, "", {kClosing}},
        {"16", false, [&] { Client(kClientDelivery, NewItem()); }, "", {kNotWanted}},
        {"16", true, [&] { Client(kClientDelivery, failing(kExtObject)); }, "", {kFailed}},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(&row - table);
        Settings(row.wanted, row.wanted, row.wanted);
        Connect(row.version);
        Expect(row.event, row.effects, row.reasons, row.failure);
        ClearPlans();
        Settings(true, true, true);
        ExpectEverythingWorks();
    }
}

TEST_F(AddinTest, AMessageIsCheckedOnceInThirtySecondsAndNotWhileTheBackgroundDoes) {
    Connect();
    during_check_ = [&] { EXPECT_EQ(cursor_.shown, reinterpret_cast<void*>(32514)); };
    Read(NewItem()), Client(kClientRead, NewItem());
    EXPECT_EQ(cursor_.shown, nullptr);
    during_check_ = [] {};
    incoming_ = 0;
    const std::string read = NewMessage();
    for (const int checks : {1, 2}) {
        Client(kClientRead, Shown(read));
        Read(Shown(read));
        EXPECT_EQ(incoming_, checks);
        EXPECT_THAT(Skipped(), ElementsAre(Told(kRecentlyChecked)));
        clock_.utc += RecentlyCheckedCache::kWindow + 1;
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
    EXPECT_THAT(Skipped(), ElementsAre(Told(kInBackground)));
}

TEST_F(AddinTest, ReceivedMailIsCheckedOnceHoweverLateItIsAnnouncedAgain) {
    ASSERT_EQ(addin_->OnConnection(*host_), S_OK);
    std::size_t ends = 1;
    const auto has_ended = [&] { return tracer_->Count("[ASYNC] Message queue is empty") == ends; };
    // Of an item that is added.
    Within(ObjectCall::kGetMailItem, [&] { tests::WaitUntil(has_ended), ++ends; });
    host_->Deliver(*mapi_.store().Find(entry_id_));
    EXPECT_TRUE(tests::WaitUntil(has_ended));
    EXPECT_EQ(incoming_, 1);
}

TEST_F(AddinTest, EveryFailingCallStaysWithinItsHandler) {
    const Event events[] = {[&] { Read(NewItem()); },
                            [&] { Send(NewDraft()); },
                            [&] { addin_->OnItemAdd(NewItem()); },
                            [&] { host_->OpenOptions(); },
                            [&] { addin_->GetSelectionItem(); },
                            [&] { Client(kClientRead, NewItem()); },
                            [&] { Client(kClientDelivery, NewItem()); }};
    Connect("14");
    host_->Select(NewMessage());
    EXPECT_NE(addin_->GetSelectionItem(), nullptr);
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
    using Handler = std::function<void(const OutlookItemPtr&)>;
    const Handler read = [&](auto& item) { Read(item); };
    const Handler send = [&](auto& item) { Send(item); };
    const Handler add = [&](auto& item) { addin_->OnItemAdd(item); };
    const Handler mail = [&](auto& item) { NewMail(Id(item)); };
    const Handler shown = [](auto& item) { item->FireRead(); };
    const Handler unload = [](auto& item) { item->FireUnload(); };
    const Handler quit = [&](auto&) { Disconnect(); };
    const Handler load = [&](auto& item) { addin_->OnItemLoad(item); };
    const Handler add_fresh = [&](auto&) { addin_->OnItemAdd(NewItem(0)); };
    const Handler client_read = [&](auto& item) { Client(kClientRead, item); };
    const Handler read_without_id = [&](auto& item) {
        Fail(ObjectCall::kEntryId, E_FAIL);
        Read(item);
    };
    const Handler read_then_send = [&](auto&) {
        Read(NewItem());
        Within(OwnCall::kShowCursor, [&] { Send(NewItem()); });
    };
    const AnyCall get_mail = ObjectCall::kGetMailItem, advise = ObjectCall::kAdviseItem,
                  id = ObjectCall::kEntryId, saved = ObjectCall::kSaved,
                  open = ObjectCall::kMapiObject, cursor = OwnCall::kShowCursor,
                  property = sandbox::outlook::Call::kGetProps;
    struct {
        const char* name;
        Handler outer;
        AnyCall at;
        Handler inner;
        std::string effects;
        Reasons reasons = {};
    } const table[] = {
        {"send in read", read, open, send, "i", {kReadInProgress}},
        {"send in test property", read, property, send, "io"},
        {"read in send", send, saved, read, "o", {kSendInProgress}},
        {"read in check on send", send, cursor, read, "o", {kSendInProgress}},
        {"read in add", add, id, read, "", {kAddInProgress, kNotNew}},
        {"new mail in read", read, saved, mail, "i", {kReadInProgress}},
        {"new mail in test property", read, property, mail, "i", {kClosing}},
        {"add in read", read, saved, add_fresh, "i", {kReadInProgress}},
        {"add in send", send, saved, add_fresh, "o", {kClosing}},
        {"new mail in add", add, id, mail, "", {kClosing, kNotNew}},
        {"send in send", send, saved, send, "oo"},
        {"send in the client's read", client_read, property, send, "i", {kReadInProgress}},
        {"new mail in the client's read", client_read, property, mail, "i", {kReadInProgress}},
        {"read in read", read, saved, shown, "i", {kRecentlyChecked}},
        {"later read in read", read, open, shown, "i", {kRecentlyChecked}},
        {"flag taken back", read_without_id, property, read_then_send, "ii", {kReadInProgress}},
        {"unload in read", read, open, unload, "i"},
        {"unload in load", load, advise, unload, ""},
        {"disconnection in read", read, open, quit, "", {kFailed}},
        {"disconnection in send", send, saved, quit, "", {kFailed}},
        {"disconnection in add", add_fresh, id, quit, "", {kNotWanted}},
        {"disconnection in load", load, get_mail, quit, ""},
        {"disconnection in its advise", load, advise, quit, ""}};
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        Connect("15");
        const OutlookItemPtr item = NewItem();
        const int happened = happened_;
        Within(row.at, [&] { row.inner(item); });
        Expect([&] { row.outer(item); }, row.effects, row.reasons, vek::result::kUnknownException);
        EXPECT_GT(happened_, happened);
        EXPECT_EQ(Advised(), addin_->settings() ? kAdvised : 0) << "an item is followed still";
        ClearPlans();
        Connect("15");
        ExpectEverythingWorks();
    }
}

}  // namespace
}  // namespace plugins::mail_processing
