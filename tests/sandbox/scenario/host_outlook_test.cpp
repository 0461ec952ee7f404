// The stand-in Outlook: which events it raises, when, and what is held of it.

#include "sandbox/outlook/object_model/host_outlook.h"

#include <gmock/gmock.h>

#include "mapi/property_tags.h"
#include "vek/core/text.h"

namespace sandbox::outlook {
namespace {

namespace mail_processing = plugins::mail_processing;
using ::testing::ElementsAre;

MessageRecord Mail(std::string subject) {
    MessageRecord record;
    record.properties.Set(plugins::mapi::tag::kSubjectA, PropertyValue::Text(std::move(subject)));
    return record;
}

// Writes down what it is told, on which thread.
class Listener final : public mail_processing::ApplicationEvents,
                       public mail_processing::FolderEvents,
                       public mail_processing::ItemEvents {
public:
    explicit Listener(HostOutlook& host) : host_(host) {
        host_.Run([&] {
            host_.GetApplication(application_);
            application_->AdviseEvents(*this, connections_.emplace_back());
            application_->AdviseNewerEvents(*this, connections_.emplace_back());
            application_->AdviseInbox(*this, connections_.emplace_back());
        });
    }
    ~Listener() {
        host_.Run([&] {
            item_.reset();
            connections_.clear();
            application_.reset();
        });
    }

    void OnItemSend(const mail_processing::ItemPtr& item, bool&) noexcept override {
        mail_processing::MailItemPtr mail;
        std::int16_t saved = 1;
        std::u16string id;
        EXPECT_EQ(item->GetMailItem(mail), S_OK);
        EXPECT_EQ(mail->GetSaved(saved), S_OK);
        EXPECT_EQ(mail->GetEntryId(id), S_OK);
        Note(saved == mail_processing::kVariantTrue ? "send" : "send unsaved");
        EXPECT_EQ(id.empty(), saved == 0);
    }
    void OnOptionsPagesAdd(mail_processing::PropertyPages& pages) noexcept override {
        Note("options");
        pages.Add(u"Page", u"Caption");
    }
    void OnQuit() noexcept override { Note("quit"); }
    void OnNewMailEx(const std::u16string* ids) noexcept override {
        Note("new " + vek::ToUtf8(*ids));
    }
    void OnItemLoad(const mail_processing::ItemPtr& item) noexcept override {
        Note("load");
        // As long as Outlook has it open.
        item_ = connections_.emplace_back() ? nullptr : item;
        item->Advise(*this, connections_.back());
    }
    void OnItemAdd(const mail_processing::ItemPtr&) noexcept override { Note("add"); }
    void OnRead() noexcept override { Note("read"); }
    void OnUnload() noexcept override {
        Note("unload");
        item_.reset();
        connections_.pop_back();
    }

    std::vector<std::string> Take() { return std::exchange(told_, {}); }
    std::vector<mail_processing::EventConnectionPtr>& connections() { return connections_; }
    mail_processing::Application& application() { return *application_; }

private:
    void Note(std::string text) {
        EXPECT_TRUE(host_.IsOutlookThread());
        told_.push_back(std::move(text));
    }

    HostOutlook& host_;
    mail_processing::ApplicationPtr application_;
    std::vector<mail_processing::EventConnectionPtr> connections_;
    mail_processing::ItemPtr item_;
    std::vector<std::string> told_;
};

class HostOutlookTest : public ::testing::Test {
protected:
    ~HostOutlookTest() override {
        EXPECT_EQ(host_.live_items(), 0u);
        EXPECT_EQ(host_.live_connections(), 0u);
        EXPECT_EQ(mapi_.live_objects(), 0u);
        EXPECT_EQ(mapi_.foreign_calls(), 0u);
    }

    MapiSubsystem mapi_;
    HostOutlook host_{mapi_, "15"};
};

TEST_F(HostOutlookTest, TellsWhatHappensToAMessageInOutlooksOrder) {
    Listener listener(host_);
    const std::string id = host_.Deliver(Mail("one"));
    EXPECT_THAT(listener.Take(), ElementsAre("new 000000004D4C584F00000001", "add"));
    EXPECT_TRUE(host_.Open(id));
    EXPECT_THAT(listener.Take(), ElementsAre("load", "read"));
    EXPECT_EQ(host_.open_items(), 1u);
    EXPECT_TRUE(host_.Close(id));
    EXPECT_FALSE(host_.Close(id));
    EXPECT_FALSE(host_.Open("elsewhere"));
    EXPECT_THAT(listener.Take(), ElementsAre("unload"));

    const std::string sent = host_.Send(Mail("two"), false);
    EXPECT_NE(sent, host_.Send(Mail("three")));
    EXPECT_THAT(listener.Take(),
                ElementsAre("load", "send unsaved", "unload", "load", "send", "unload"));
    EXPECT_EQ(host_.submitted().count(sent), 1u);
    EXPECT_NE(mapi_.store().Find(sent), nullptr);

    EXPECT_THAT(host_.OpenOptions(),
                ElementsAre(std::pair<std::u16string, std::u16string>(u"Page", u"Caption")));
    host_.Quit();
    EXPECT_THAT(listener.Take(), ElementsAre("options", "quit"));
}

TEST_F(HostOutlookTest, RaisesEventsFromInsideACallAndFailsOthers) {
    Listener listener(host_);
    const std::string id = host_.Deliver(Mail("one"));
    listener.Take();
    host_.Run([&] {
        host_.plan().RunAtNth(ObjectCall::kEntryId, 1, [&] { host_.Open(id); });
        host_.plan().FailNth(ObjectCall::kAdviseItem, 2, E_FAIL);
    });
    host_.Send(Mail("two"));
    // The reader's item could not be followed: Read is told to nobody.
    EXPECT_THAT(listener.Take(), ElementsAre("load", "load", "send", "unload"));
    EXPECT_EQ(host_.plan().Failed().size(), 1u);
    host_.Run([&] { listener.connections().pop_back(); });
    host_.Close(id);
}

TEST_F(HostOutlookTest, TellsNothingMoreToWhoHasUnsubscribed) {
    Listener listener(host_);
    host_.Run([&] {
        host_.plan().FailEvery(ObjectCall::kUnadvise, E_FAIL);
        for (auto& connection : listener.connections()) EXPECT_EQ(connection->Unadvise(), E_FAIL);
    });
    host_.Deliver(Mail("one"));
    host_.Quit();
    EXPECT_THAT(listener.Take(), ElementsAre());
}

TEST_F(HostOutlookTest, ShowsTheOpenAndTheSelectedItems) {
    Listener listener(host_);
    const std::string id = host_.Deliver(Mail("one"));
    host_.Open(id);
    host_.Run([&] {
        std::vector<mail_processing::ItemPtr> items;
        mail_processing::ItemPtr selected;
        EXPECT_EQ(listener.application().GetOpenItems(items), S_OK);
        EXPECT_EQ(items.size(), 1u);
        EXPECT_EQ(listener.application().GetSelectedItem(selected), S_FALSE);
        host_.Select(id);
        EXPECT_EQ(listener.application().GetSelectedItem(selected), S_OK);
        mail_processing::MailItemPtr mail;
        std::u16string message_class;
        vek::RefPtr<IMessage> message;
        ASSERT_EQ(selected->GetMailItem(mail), S_OK);
        EXPECT_EQ(mail->GetMessageClass(message_class), S_OK);
        EXPECT_EQ(message_class, u"IPM.Note");
        EXPECT_EQ(mail->GetMessage(message), S_OK);
    });
    host_.Select({});
    host_.Delete(id);
    EXPECT_EQ(host_.open_items(), 0u);
}

}  // namespace
}  // namespace sandbox::outlook
