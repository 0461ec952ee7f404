// The plug-in's late calls and the stand-in Outlook's objects, which know nothing of each other.

#include <gmock/gmock.h>

#include <thread>

#include "automation/automation_application.h"
#include "mapi/property_tags.h"
#include "sandbox/outlook/host/application_object.h"
#include "sandbox/outlook/object_model/host_outlook.h"
#include "vek/core/text.h"

namespace tests {
namespace {

using namespace plugins::mail_processing;
using sandbox::host::ApplicationObject;
using sandbox::host::ItemObjects;
using sandbox::outlook::PropertyValue;

// Hears everything, follows each item that is loaded, and writes down what it is told and what the
// item answers then.
struct Listener final : ApplicationEvents, FolderEvents, ItemEvents {
    void OnItemSend(const ItemPtr& item, bool& cancel) noexcept override {
        log += "send" + Answers(item);
        cancel = cancels;
    }
    void OnOptionsPagesAdd(PropertyPages& pages) noexcept override {
        log += pages.Add(u"A.Page", u"Mail") == S_OK ? "pages " : "no pages ";
    }
    void OnQuit() noexcept override { log += "quit "; }
    void OnNewMailEx(const std::u16string* ids) noexcept override {
        log += "mail:" + vek::ToUtf8(*ids) + ' ';
    }
    void OnItemLoad(const ItemPtr& item) noexcept override {
        log += "load" + Answers(item);
        item->Advise(*this, connection);
        loaded = item;
    }
    void OnItemAdd(const ItemPtr& item) noexcept override { log += "add" + Answers(item); }
    void OnRead() noexcept override { log += "read" + Answers(loaded); }
    void OnUnload() noexcept override {
        log += "unload" + Answers(std::exchange(loaded, nullptr));
        connection.reset();
    }

    // Which members answer: class, message class, id, saved, time, message, in this order.
    static std::string Answers(const ItemPtr& item) {
        MailItemPtr mail;
        if (FAILED(item->GetMailItem(mail))) return ":none ";
        std::u16string text;
        std::int32_t number = 0;
        std::int16_t flag = 0;
        double date = 0;
        vek::RefPtr<IMessage> message;
        std::string answers = ":";
        for (const HRESULT code :
             {mail->GetClass(number), mail->GetMessageClass(text), mail->GetEntryId(text),
              mail->GetSaved(flag), mail->GetCreationTime(date), mail->GetMessage(message)})
            answers += SUCCEEDED(code) ? '+' : '-';
        return answers + ' ';
    }

    bool cancels = false;
    ItemPtr loaded;
    EventConnectionPtr connection;
    std::string log;
};

TEST(HostObjects, TellAndAnswerWhatOutlookDoes) {
    sandbox::outlook::MapiSubsystem mapi;
    sandbox::outlook::HostOutlook host(mapi, "15", sandbox::outlook::ThreadChoice::kBuilders);
    const auto items = std::make_shared<ItemObjects>(host);
    const auto object = ApplicationObject::Make(items);
    sandbox::outlook::MessageRecord mail;
    mail.properties.Set(plugins::mapi::tag::kSubjectA, PropertyValue::Text("Hello"));
    Listener listener;
    ApplicationPtr application;
    automation::AutomationObject automation(static_cast<IDispatch*>(object.get()));
    ASSERT_EQ(automation.GetApplication(application), S_OK);
    std::u16string text;
    EXPECT_TRUE(application->GetVersion(text) == S_OK && text == u"15.0.0.4569");
    vek::RefPtr<IMAPISession> session;
    EXPECT_EQ(application->GetMapiSession(session), S_OK);
    EventConnectionPtr connections[3];
    ASSERT_EQ(application->AdviseEvents(listener, connections[0]), S_OK);
    ASSERT_EQ(application->AdviseNewerEvents(listener, connections[1]), S_OK);
    ASSERT_EQ(application->AdviseInbox(listener, connections[2]), S_OK);

    const std::string id = host.Deliver(mail);
    EXPECT_TRUE(host.Open(id));
    std::vector<ItemPtr> open;
    EXPECT_EQ(application->GetOpenItems(open), S_OK);
    EXPECT_EQ(open.size(), 1u);
    EXPECT_EQ(items->Held().size(), 1u);
    open.clear();
    host.Close(id);
    EXPECT_NE(host.Send(mail), "");
    listener.cancels = true;
    EXPECT_EQ(host.Send(mail, false), "");
    EXPECT_EQ(host.OpenOptions().size(), 1u);
    host.Quit();
    const std::string hex = listener.log.substr(5, listener.log.find(' ') - 5);
    EXPECT_EQ(listener.log, "mail:" + hex +
                                " add:++++++ load:++---- read:++++++ unload:------ "
                                "load:++---- send:++++++ unload:------ "
                                "load:++---- send:++++++ unload:------ pages quit ");
    EXPECT_THAT(items->Held(), testing::IsEmpty());

    std::thread([&] {
        DISPID member = 0;
        wchar_t name[] = L"Name";
        wchar_t* names[] = {name};
        vek::RefPtr<IUnknown> same;
        EXPECT_EQ(object->GetIDsOfNames(IID_NULL, names, 1, 0, &member), RPC_E_WRONG_THREAD);
        EXPECT_EQ(object->QueryInterface(IID_IUnknown, same.put_void()), RPC_E_WRONG_THREAD);
    }).join();
    for (auto& connection : connections) EXPECT_EQ(connection->Unadvise(), S_OK);
    EXPECT_EQ(host.live_connections(), 0u);
}

}  // namespace
}  // namespace tests
