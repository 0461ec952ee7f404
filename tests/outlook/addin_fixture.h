#pragma once

#include <atomic>
#include <thread>

#include "mapi/entry_id.h"
#include "outlook/message_age.h"
#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "tests/outlook/outlook_fakes.h"
#include "tests/support/fake_settings.h"
#include "tests/support/faulty_system.h"
#include "vek/core/text.h"

namespace plugins::mail_processing {

// An add-in in a made-up Outlook, whose messages are in MAPI's store, and a product that has every
// message checked.
class AddinFixture : public tests::MailFixture {
protected:
    AddinFixture() { clock_.ticks = 5000; }
    ~AddinFixture() override {
        Disconnect();
        outlook_->open_items.clear();
        EXPECT_EQ(calls_.advised, 0) << "left advised";
        EXPECT_EQ(system_.live_events, 0);
        EXPECT_EQ(system_.live_threads, 0);
    }

    // The background thread is made to end, so that nobody but the test calls MAPI: what is queued
    // is refused.
    void Connect(std::u16string version = u"16.0.0.1") {
        Disconnect();
        outlook_->version = std::move(version);
        const std::size_t ended = tracer_->Count(kEnded);
        ASSERT_EQ(addin_->OnConnection(*outlook_), S_OK);
        addin_->OnQuit();
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (tracer_->Count(kEnded) == ended) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the thread does not end";
            std::this_thread::yield();
        }
    }
    static constexpr std::string_view kStarted = "Async processor thread started successfully";
    static constexpr std::string_view kEnded = "Logoff background session. result: ";
    void Disconnect() { addin_->OnDisconnection(); }

    void Settings(bool delivery, bool read, bool send) {
        settings_ = {true, false, std::nullopt, {delivery, read, send}};
        clock_.ticks += 1000;
    }

    // A saved message of a day ago that nobody else has.
    FakeItemPtr NewItem() {
        auto item = std::make_shared<FakeItem>(calls_);
        const std::string id = mapi_.store().Add(*mapi_.store().Find(entry_id_));
        item->entry_id = mapi::EntryIdToHex(id);
        item->open = [this, id] { return mapi_.OpenMessage(id); };
        item->created = LocalOleDate(clock_) - 1;
        return item;
    }

    void Read(const FakeItemPtr& item) {
        addin_->OnItemLoad(item);
        if (item->events != nullptr) item->events->OnRead();
        if (item->events != nullptr) item->events->OnUnload();
    }
    void Send(const FakeItemPtr& item) {
        bool cancel = false;
        addin_->OnItemSend(item, cancel);
        EXPECT_FALSE(cancel);
    }
    void NewMail(const std::u16string& ids) { addin_->OnNewMailEx(&ids); }
    vek::RefPtr<FakeCallback> Callback(const FakeItemPtr& item) {
        return vek::MakeObject<FakeCallback>(item->open);
    }

    // One of each, in the order in which none lowers a flag that the next would be refused by.
    void ExpectEverythingWorks() {
        const int incoming = incoming_, outgoing = outgoing_;
        const std::size_t queued = Queued();
        NewMail(NewItem()->entry_id);
        Read(NewItem());
        Send(NewItem());
        EXPECT_EQ(incoming_, incoming + 1);
        EXPECT_EQ(outgoing_, outgoing + 1);
        EXPECT_EQ(Queued(), queued + 1);
        EXPECT_EQ(calls_.advised, 4) << "an item is followed that was unloaded";
        EXPECT_EQ(cursor_.shown, nullptr) << "the pointer was not restored";
    }
    std::size_t Queued() const { return tracer_->Count("message not added to queue"); }

    OutlookCalls calls_;
    std::shared_ptr<FakeOutlook> outlook_ = std::make_shared<FakeOutlook>(calls_);
    FakeCursor cursor_{calls_};
    tests::FaultySystem system_;
    std::atomic<int> incoming_{0};
    std::atomic<int> outgoing_{0};
    std::function<void()> during_check_ = [] {};
    product::MailPluginSettings settings_{true, false, std::nullopt, {1, 1, 1}};
    vek::RefPtr<reference_product::InProcessProduct> product_ = MakeProduct();
    loader::ServiceAccess services_{[this](vek::RefPtr<ILoader>& loader) {
        loader = product_;
        return vek::result::kOk;
    }};
    std::unique_ptr<CAddin> addin_ = std::make_unique<CAddin>(AddinEnvironment{
        [this] {
            const HRESULT result = calls_.Enter("LoadMapi");
            return SUCCEEDED(result) ? functions_ : nullptr;
        },
        [this](auto& out) { return outlook_->Give("CreateExtension", outlook_, out); }, cursor_,
        services_, clock_, system_, tracer_});

private:
    vek::RefPtr<reference_product::InProcessProduct> MakeProduct() {
        auto product = vek::MakeObject<reference_product::InProcessProduct>(
            vek::MakeObject<reference_product::ScriptedScanner>([this](bool in, IMailMessage&) {
                ++(in ? incoming_ : outgoing_);
                during_check_();
                return vek::result::kOk;
            }));
        product->Offer(product::IProductSettings::kInterfaceId,
                       vek::MakeObject<tests::FakeSettings>([this](auto& settings) {
                           settings = settings_;
                           return vek::result::kOk;
                       }));
        return product;
    }
};

}  // namespace plugins::mail_processing
