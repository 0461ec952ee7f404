#pragma once

#include <atomic>
#include <optional>
#include <thread>
#include <variant>

#include "com/listeners.h"
#include "mapi/entry_id.h"
#include "outlook/Addin.h"
#include "outlook/mail_item_queries.h"
#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "sandbox/outlook/object_model/exchange_callback.h"
#include "sandbox/outlook/object_model/host_outlook.h"
#include "tests/processing/async_fixture.h"
#include "tests/support/fake_settings.h"
#include "tests/support/faulty_system.h"
#include "tests/support/mail_fixture.h"
#include "tests/support/wait_until.h"
#include "vek/core/text.h"

namespace plugins::mail_processing {

using sandbox::outlook::ObjectCall;
using sandbox::outlook::OutlookItem;
using OutlookItemPtr = std::shared_ptr<OutlookItem>;

// The calls that the add-in makes besides those of Outlook's objects and MAPI's.
enum class OwnCall { kLoadMapi, kCreateExtension, kAdviseExtension, kShowCursor, kCount };
using OwnPlan = sandbox::outlook::CallPlan<OwnCall>;
using AnyCall = std::variant<ObjectCall, OwnCall, sandbox::outlook::Call>;

struct FakeCursor final : Cursor {
    explicit FakeCursor(OwnPlan& p) : plan(p) {}
    void* Show(std::uint16_t id) noexcept override {
        plan.Enter(OwnCall::kShowCursor);
        return std::exchange(shown, reinterpret_cast<void*>(std::uintptr_t{id}));
    }
    void Restore(void* previous) noexcept override { shown = previous; }
    OwnPlan& plan;
    void* shown = nullptr;
};

// The extension object as the add-in's source of events.
struct FakeExtension final : ExchangeEventSource {
    explicit FakeExtension(OwnPlan& p) : plan(p) {}
    HRESULT Advise(ExchangeEvents& to, EventConnectionPtr& connection) noexcept override {
        const HRESULT code = plan.Enter(OwnCall::kAdviseExtension);
        if (SUCCEEDED(code)) connection = com::Listen(listeners, &to);
        return code;
    }
    OwnPlan& plan;
    const std::shared_ptr<com::Listeners<ExchangeEvents*>> listeners =
        std::make_shared<com::Listeners<ExchangeEvents*>>();
};

// An add-in in the stand-in Outlook, whose thread is the test's, and a product that has every
// message checked.
class AddinFixture : public tests::MailFixture {
protected:
    AddinFixture() {
        clock_.ticks = 5000;
        host_.emplace(mapi_, "16", sandbox::outlook::ThreadChoice::kBuilders);
    }
    ~AddinFixture() override {
        Disconnect();
        EXPECT_EQ(Advised(), 0u) << "left advised";
        host_.reset();
        EXPECT_EQ(system_.live_events, 0);
        EXPECT_EQ(system_.live_threads, 0);
    }

    // Connects to an Outlook of that version, and has the background thread end, so that nobody but
    // the test calls MAPI: what is queued is refused.
    void Connect() { Connect(std::string(version_)); }
    void Connect(const std::string& version) {
        Disconnect();
        if (std::exchange(version_, version) != version)
            host_.emplace(mapi_, version, sandbox::outlook::ThreadChoice::kBuilders);
        constexpr std::string_view kEnded = "Async processor thread exiting";
        const std::size_t ended = tracer_->Count(kEnded);
        ASSERT_EQ(addin_->OnConnection(*host_), S_OK);
        host_->Quit();
        ASSERT_TRUE(tests::WaitUntil([&] { return tracer_->Count(kEnded) != ended; }));
    }
    static constexpr std::string_view kStarted = "Async processor thread started successfully";
    void Disconnect() { addin_->OnDisconnection(); }

    void Settings(bool delivery, bool read, bool send) {
        settings_ = {true, false, std::nullopt, {delivery, read, send}};
        clock_.ticks += 1000;
    }

    // A message of its own and, as Outlook has it open, an item of a day ago or of now.
    std::string NewMessage() { return mapi_.store().Add(*mapi_.store().Find(entry_id_)); }
    OutlookItemPtr Shown(const std::string& id, double days = 1) {
        const OutlookItem::Traits traits{.created = LocalOleDate(clock_) - days};
        return std::make_shared<OutlookItem>(host_->model(), mapi_, id, traits);
    }
    OutlookItemPtr NewItem(double days = 1) { return Shown(NewMessage(), days); }
    OutlookItemPtr NewDraft() {
        const auto record = *mapi_.store().Find(entry_id_);
        return std::make_shared<OutlookItem>(host_->model(), mapi_, record, OutlookItem::Traits{});
    }
    static std::u16string Id(const OutlookItemPtr& item) {
        return mapi::EntryIdToHex(item->entry_id());
    }

    void Read(const OutlookItemPtr& item) {
        item->Load([&] { addin_->OnItemLoad(item); });
        item->FireRead();
        item->FireUnload();
    }
    void Send(const OutlookItemPtr& item) {
        bool cancel = false;
        addin_->OnItemSend(item, cancel);
        EXPECT_FALSE(cancel);
    }
    void NewMail(const std::u16string& ids) { addin_->OnNewMailEx(&ids); }
    // An event of the client extension.
    void Client(void (ExchangeEvents::*event)(mapi::IExchExtCallback*) noexcept,
                const OutlookItemPtr& item) {
        const auto callback = Callback(item->entry_id());
        extension_->listeners->Fire([&](ExchangeEvents& to) { (to.*event)(callback.get()); });
    }
    vek::RefPtr<sandbox::outlook::ExchangeCallback> Callback(const std::string& id) {
        return vek::MakeObject<sandbox::outlook::ExchangeCallback>(host_->model(), mapi_, id);
    }

    auto& Plan(ObjectCall) { return host_->plan(); }
    auto& Plan(OwnCall) { return own_plan_; }
    auto& Plan(sandbox::outlook::Call) { return mapi_.faults(); }
    // The first call of that kind from now on fails, or has something happen within it.
    void Fail(AnyCall call, HRESULT code) {
        std::visit([&](auto kind) { Plan(kind).FailNth(kind, 1, code); }, call);
    }
    void Within(AnyCall call, const std::function<void()>& action) {
        const auto noted = [this, action] { ++happened_, action(); };
        std::visit([&](auto kind) { Plan(kind).RunAtNth(kind, 1, noted); }, call);
    }
    void ClearPlans() { host_->plan().Clear(), own_plan_.Clear(), mapi_.faults().Clear(); }

    // Subscriptions that are alive; of an add-in that is connected and follows no item.
    std::uint32_t Advised() const {
        return host_->live_connections() + !extension_->listeners->empty();
    }
    static constexpr std::uint32_t kAdvised = 3;

    // One of each, in the order in which none lowers a flag that the next would be refused by.
    void ExpectEverythingWorks() {
        const int incoming = incoming_, outgoing = outgoing_;
        Skipped();
        NewMail(Id(NewItem()));
        Read(NewItem());
        Send(NewItem());
        EXPECT_EQ(incoming_, incoming + 1);
        EXPECT_EQ(outgoing_, outgoing + 1);
        EXPECT_THAT(Skipped(), testing::ElementsAre(Told(SkipReason::kClosing))) << "the new mail";
        EXPECT_EQ(Advised(), kAdvised) << "an item is followed that was unloaded";
        EXPECT_EQ(cursor_.shown, nullptr) << "the pointer was not restored";
    }

    // What the observer was told of skipped messages since it was asked last.
    std::vector<std::string> Skipped() {
        std::vector<std::string> skipped = observer_.Take();
        std::erase_if(skipped, [](auto& told) { return told.find(" skipped ") == told.npos; });
        for (std::string& told : skipped)
            told = told.substr(told.find(' ') + 1, told.rfind(' ') - told.find(' ') - 1);
        return skipped;
    }
    static constexpr auto kAborted = static_cast<vek::result_t>(E_ABORT);
    static std::string Told(SkipReason reason, vek::result_t failure = kAborted) {
        return "skipped " + std::to_string(static_cast<int>(reason)) + ' ' +
               std::to_string(reason == SkipReason::kFailed ? failure : 0);
    }

    std::string version_ = "16";
    std::optional<sandbox::outlook::HostOutlook> host_;
    OwnPlan own_plan_;
    int happened_ = 0;
    FakeCursor cursor_{own_plan_};
    const std::shared_ptr<FakeExtension> extension_ = std::make_shared<FakeExtension>(own_plan_);
    tests::FaultySystem system_;
    tests::RecordingObserver observer_;
    std::atomic<int> incoming_{0};
    std::atomic<int> outgoing_{0};
    std::function<void()> during_check_ = [] {};
    vek::result_t settings_result_ = vek::result::kOk;
    product::MailPluginSettings settings_{true, false, std::nullopt, {1, 1, 1}};
    const vek::RefPtr<reference_product::InProcessProduct> product_ =
        vek::MakeObject<reference_product::InProcessProduct>(
            vek::MakeObject<reference_product::ScriptedScanner>([this](bool in, IMailMessage&) {
                ++(in ? incoming_ : outgoing_);
                during_check_();
                return vek::result::kOk;
            }));
    loader::ServiceAccess services_{[this](vek::RefPtr<ILoader>& loader) {
        product_->Offer(product::IProductSettings::kInterfaceId,
                        vek::MakeObject<tests::FakeSettings>([this](auto& settings) {
                            settings = settings_;
                            return settings_result_;
                        }));
        loader = product_;
        return vek::result::kOk;
    }};
    tests::OutlookRegistry registry_;
    std::unique_ptr<CAddin> addin_ = std::make_unique<CAddin>(AddinEnvironment{
        [this] { return SUCCEEDED(own_plan_.Enter(OwnCall::kLoadMapi)) ? functions_ : nullptr; },
        [this](auto& extension) {
            extension = extension_;
            return own_plan_.Enter(OwnCall::kCreateExtension);
        },
        cursor_, services_, clock_, system_, tracer_, kThreadStopTimeout, registry_, observer_});
};

}  // namespace plugins::mail_processing
