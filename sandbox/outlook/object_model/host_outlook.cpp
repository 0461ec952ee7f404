#include "sandbox/outlook/object_model/host_outlook.h"

#include "sandbox/outlook/entry_id_text.h"
#include "sandbox/outlook/object_model/exchange_callback.h"
#include "vek/platform/clock.h"

namespace sandbox::outlook {

namespace mail_processing = plugins::mail_processing;
namespace mapi = plugins::mapi;

namespace {

// Contexts of exchext.h: EECONTEXT_SESSION and EECONTEXT_READNOTEMESSAGE.
constexpr ULONG kSessionContext = 1;
constexpr ULONG kReadNoteContext = 7;

// The last version with client extensions.
constexpr int kLastWithExtensions = 12;

// How far a message that was opened is from a new one.
constexpr mail_processing::ole_date_t kAnHour = 1.0 / 24;

mail_processing::ole_date_t Now() {
    // From 1 January 1601 to 30 December 1899, and a day, in FILETIME's units.
    constexpr double kDaysBefore = 109205;
    constexpr double kDay = 864e9;
    vek::platform::Clock& clock = vek::platform::TheClock();
    return static_cast<double>(clock.ToLocal(clock.UtcNow())) / kDay - kDaysBefore;
}

class OptionsDialog final : public mail_processing::PropertyPages {
public:
    explicit OptionsDialog(ObjectModel& model) : model_(model) {}

    HRESULT Add(std::u16string_view page, std::u16string_view caption) noexcept override {
        return Enter(model_, ObjectCall::kPagesAdd, [&]() -> HRESULT {
            pages.emplace_back(page, caption);
            return S_OK;
        });
    }

    HostOutlook::Pages pages;

private:
    ObjectModel& model_;
};

}  // namespace

HostOutlook::HostOutlook(MapiSubsystem& mapi, const std::string& version, ThreadChoice thread)
    : mapi_(mapi),
      application_(std::make_shared<OutlookApplication>(model_, mapi_, version)),
      thread_(thread) {
    Run([&] {
        model_->thread = std::this_thread::get_id();
        mapi_.NoteHostThread();
    });
}

HostOutlook::~HostOutlook() {
    Run([&] {
        while (!application_->open_items().empty()) Unload(application_->open_items().back());
        application_->selected_item().reset();
        UnloadExtension();
    });
}

std::string HostOutlook::Deliver(MessageRecord message) {
    std::string entry_id;
    Run([&] {
        entry_id = mapi_.store().Add(std::move(message));
        const std::u16string ids = EntryIdText(entry_id);
        application_->newer_events().Fire([&](auto& events) { events.OnNewMailEx(&ids); });
        if (!application_->inbox_events().empty()) {
            const auto item = std::make_shared<OutlookItem>(model_, mapi_, entry_id,
                                                            OutlookItem::Traits{.created = Now()});
            application_->inbox_events().Fire([&](auto& events) { events.OnItemAdd(item); });
        }
        if (session_events_) {
            const auto callback = vek::MakeObject<ExchangeCallback>(model_, mapi_, entry_id);
            session_events_->OnDelivery(callback.get());
        }
    });
    return entry_id;
}

std::shared_ptr<OutlookItem> HostOutlook::Load(std::shared_ptr<OutlookItem> item) {
    application_->open_items().push_back(item);
    item->Load(
        [&] { application_->newer_events().Fire([&](auto& events) { events.OnItemLoad(item); }); });
    return item;
}

void HostOutlook::Unload(const std::shared_ptr<OutlookItem>& item) {
    // `item` may be the list's own. NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const auto unloaded = item;
    std::erase(application_->open_items(), unloaded);
    unloaded->Unload();
}

bool HostOutlook::Open(const std::string& entry_id) {
    bool found = false;
    Run([&] {
        found = mapi_.store().Find(entry_id) != nullptr;
        if (!found) return;
        const auto item = Load(std::make_shared<OutlookItem>(
            model_, mapi_, entry_id, OutlookItem::Traits{.created = Now() - kAnHour}));
        if (message_events_) {
            const auto callback = vek::MakeObject<ExchangeCallback>(model_, mapi_, entry_id);
            message_events_->OnRead(callback.get());
        }
        item->FireRead();
    });
    return found;
}

bool HostOutlook::Close(const std::string& entry_id) {
    bool closed = false;
    Run([&] {
        const auto items = application_->open_items();
        for (const auto& item : items) {
            if (item->entry_id() != entry_id) continue;
            Unload(item);
            closed = true;
        }
    });
    return closed;
}

std::string HostOutlook::Send(MessageRecord message, bool saved) {
    std::string entry_id;
    Run([&] {
        const OutlookItem::Traits traits{.created = Now()};
        const auto item =
            Load(saved ? std::make_shared<OutlookItem>(
                             model_, mapi_, mapi_.store().Add(std::move(message)), traits)
                       : std::make_shared<OutlookItem>(model_, mapi_, std::move(message), traits));
        bool cancel = false;
        application_->events().Fire([&](auto& events) { events.OnItemSend(item, cancel); });
        if (!cancel && (item->saved() || SUCCEEDED(item->SaveForOutlook()))) {
            entry_id = item->entry_id();
            submitted_.insert(entry_id);
        }
        Unload(item);
    });
    return entry_id;
}

HostOutlook::Pages HostOutlook::OpenOptions() {
    OptionsDialog dialog(*model_);
    Run([&] {
        application_->events().Fire([&](auto& events) { events.OnOptionsPagesAdd(dialog); });
    });
    return std::move(dialog.pages);
}

void HostOutlook::Select(const std::string& entry_id) {
    Run([&] {
        application_->selected_item() =
            entry_id.empty()
                ? nullptr
                : std::make_shared<OutlookItem>(model_, mapi_, entry_id, OutlookItem::Traits{});
    });
}

void HostOutlook::Quit() {
    Run([&] { application_->events().Fire([](auto& events) { events.OnQuit(); }); });
}

void HostOutlook::Delete(const std::string& entry_id) {
    Run([&] {
        Close(entry_id);
        submitted_.erase(entry_id);
        mapi_.store().Remove(entry_id);
    });
}

std::set<std::string> HostOutlook::submitted() {
    std::set<std::string> ids;
    Run([&] { ids = submitted_; });
    return ids;
}

std::size_t HostOutlook::open_items() {
    std::size_t count = 0;
    Run([&] { count = application_->open_items().size(); });
    return count;
}

HRESULT HostOutlook::GetApplication(mail_processing::ApplicationPtr& application) noexcept {
    return Enter(*model_, ObjectCall::kGetApplication, [&]() -> HRESULT {
        application = application_;
        return S_OK;
    });
}

template <class Events>
void HostOutlook::Install(const ExtensionEntryPoint& entry_point, ULONG context, const IID& events,
                          vek::RefPtr<Events>& kept) {
    const auto extension = entry_point();
    if (!extension) return;  // another add-in's stays
    kept.reset();
    const auto callback = vek::MakeObject<ExchangeCallback>(model_, mapi_, std::string());
    if (extension->Install(callback.get(), context, 0) == S_OK)
        extension->QueryInterface(events, kept.put_void());
}

void HostOutlook::LoadExtension(const ExtensionEntryPoint& entry_point) {
    if (application_->major_version() > kLastWithExtensions) return;
    Run([&] {
        Install(entry_point, kSessionContext, mapi::iid::kExchExtSessionEvents, session_events_);
        Install(entry_point, kReadNoteContext, mapi::iid::kExchExtMessageEvents, message_events_);
    });
}

void HostOutlook::UnloadExtension() {
    Run([&] {
        session_events_.reset();
        message_events_.reset();
    });
}

}  // namespace sandbox::outlook
