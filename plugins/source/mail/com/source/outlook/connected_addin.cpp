#include "outlook/connected_addin.h"

#include <utility>

#include "outlook/outlook_version.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;

// IDC_WAIT: Outlook's thread serves the check and nobody else meanwhile. The pointer of work in the
// background is another, 32650.
constexpr std::uint16_t kWaitCursor = 32514;

// Shows a pointer for as long as it lives.
class ShownCursor {
public:
    explicit ShownCursor(Cursor& cursor) noexcept
        : cursor_(cursor), previous_(cursor.Show(kWaitCursor)) {}
    ~ShownCursor() { cursor_.Restore(previous_); }
    ShownCursor(const ShownCursor&) = delete;
    ShownCursor& operator=(const ShownCursor&) = delete;

private:
    Cursor& cursor_;
    void* const previous_;
};

}  // namespace

ConnectedAddin::ConnectedAddin(const AddinEnvironment& environment, AddinEvents& events)
    : environment_(environment),
      events_(events),
      settings_(std::make_shared<ProductSettingsProvider>(environment.services, environment.clock,
                                                          environment.tracer)),
      items_([&events](const ItemPtr& item) { events.OnItemRead(item); }, environment.tracer,
             environment.advise_item) {}

ConnectedAddin::~ConnectedAddin() { End(); }

// Makes a call that goes out and gives its result, unless the call ended the connection: then
// nothing of the result is kept.
template <class Call>
auto ConnectedAddin::Ask(const Call& call) const {
    auto result = call();
    ThrowIfEnded();
    return result;
}

template <class Advise>
void ConnectedAddin::Subscribe(const Advise& advise) {
    EventConnectionPtr subscription;
    helpers::CheckGiven(Ask([&] { return advise(subscription); }), subscription);
    subscriptions_.push_back(std::move(subscription));
}

std::vector<ItemPtr> ConnectedAddin::Make(ApplicationObject& object) {
    ApplicationPtr application;
    if (FAILED(Ask([&] { return object.GetApplication(application); })) || !application)
        vek::ThrowBadQueryInterface();
    application_ = std::move(application);
    ReadVersion();
    Subscribe([&](auto& out) { return application_->AdviseEvents(events_, out); });
    if (major_version_ >= major_version::kOutlook2007) {
        Subscribe([&](auto& out) { return application_->AdviseNewerEvents(events_, out); });
        Trace("Use OOM 12 or more");
    }
    std::vector<ItemPtr> open_items;
    const HRESULT found = Ask([&] { return application_->GetOpenItems(open_items); });
    TraceFailure("Open items cannot be had, hr=", found);
    if (found == S_FALSE)
        trace::Write(tracer(), trace::level::kWarning, "The item of an open window cannot be had");
    AdviseExtension();
    // Later versions announce what arrives there by NewMailEx: told twice it could be checked
    // twice.
    if (major_version_ < major_version::kOutlook2007) AdviseInbox();
    TraceExceptions(tracer(), [&] { BuildProcessors(); });
    ThrowIfEnded();
    return open_items;
}

void ConnectedAddin::ReadVersion() {
    std::u16string name;
    std::u16string version;
    TraceFailure("The application's name cannot be had, hr=",
                 Ask([&] { return application_->GetName(name); }));
    TraceFailure("The application's version cannot be had, hr=",
                 Ask([&] { return application_->GetVersion(version); }));
    Trace("Application: ", name, ", version: ", version);
    major_version_ = MajorVersion(version);
}

void ConnectedAddin::AdviseExtension() {
    ExchangeEventSourcePtr extension;
    helpers::CheckGiven(Ask([&] { return environment_.create_extension(extension); }), extension);
    extension_ = std::move(extension);
    Subscribe([&](auto& out) { return extension_->Advise(events_, out); });
}

// The inbox can be out of reach, as a server's is; mail is followed by the other events then.
void ConnectedAddin::AdviseInbox() {
    EventConnectionPtr inbox;
    TraceFailure("The inbox cannot be followed, hr=",
                 Ask([&] { return application_->AdviseInbox(events_, inbox); }));
    if (inbox) subscriptions_.push_back(std::move(inbox));
}

void ConnectedAddin::BuildProcessors() {
    functions_ = Ask([&] { return environment_.load_mapi(); });
    vek::Check(functions_ != nullptr);
    // Without Outlook's session the processor logs on itself.
    vek::RefPtr<IMAPISession> session;
    TraceFailure("Outlook's MAPI session cannot be had, hr=",
                 Ask([&] { return application_->GetMapiSession(session); }));
    processor_ = Ask([&] {
        return MessageProcessor::Create(
            settings_, functions_, session.get(),
            {environment_.system, environment_.clock, environment_.services, tracer(), observer()});
    });
    // Kept when making it has ended the connection: as it goes, it gives MAPI back.
    async_ = std::make_unique<AsyncProcessor>(AsyncEnvironment{
        functions_, settings_, processor_, environment_.system, tracer(), environment_.stop_timeout,
        environment_.registry, observer(), environment_.event_wait});
    ThrowIfEnded();
}

void ConnectedAddin::StartBackground() noexcept {
    if (quitting_ || !async_) return;
    has_failed_to_start_ = !TraceExceptions(tracer(), [&] { async_->Start(); });
}

void ConnectedAddin::PrepareStop() noexcept {
    quitting_ = true;
    if (async_) async_->PrepareStop();
    environment_.services.Hasten();
}

void ConnectedAddin::End() noexcept {
    if (std::exchange(ended_, true)) return;
    for (const EventConnectionPtr& subscription : subscriptions_) {
        if (const HRESULT result = subscription->Unadvise(); FAILED(result))
            trace::Write(tracer(), trace::level::kWarning,
                         "Unadvise failed, hr=", trace::Hex(result));
    }
    items_.Clear();
    if (async_) TraceExceptions(tracer(), [&] { async_->Stop(); });
    environment_.services.End();
}

bool ConnectedAddin::IsNeedScan(std::uint8_t kind) {
    return !ended_ && settings_->IsNeedScan(kind);
}

void ConnectedAddin::Follow(const ItemPtr& item) {
    items_.Attach(item);
    // An end from within was too early to let go of it.
    if (ended_) items_.Clear();
}

const mapi::MapiFunctions& ConnectedAddin::functions() const {
    vek::Check(!ended_ && functions_ != nullptr);
    return *functions_;
}

MessageProcessor& ConnectedAddin::processor() const {
    vek::Check(!ended_ && processor_ != nullptr);
    return *processor_;
}

void ConnectedAddin::Queue(std::u16string_view entry_id) {
    // The queue of one that did not start would only grow.
    vek::Check(!ended_ && async_ != nullptr && !has_failed_to_start_);
    async_->AddMessage(entry_id);
}

void ConnectedAddin::ProcessMessageWithWaitCursor(IMessage* message, bool incoming,
                                                  PendingCheck& check) {
    MessageProcessor& checker = processor();
    const ShownCursor waiting(environment_.cursor);
    checker.ProcessMessage(message, incoming, kForeground, check.HandOn());
}

void ConnectedAddin::ProcessMessageWithWaitCursor(mapi::IExchExtCallback* callback,
                                                  PendingCheck& check) {
    MessageProcessor& checker = processor();
    const ShownCursor waiting(environment_.cursor);
    checker.ProcessMessageFromCallback(callback, check.HandOn());
}

bool ConnectedAddin::IsCheckedInBackground(std::u16string_view entry_id) const {
    return async_ != nullptr && async_->GetCurrentEntryId() == entry_id;
}

}  // namespace plugins::mail_processing
