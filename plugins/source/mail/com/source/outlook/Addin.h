#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "common/loader/service_access.h"
#include "mapi/mapi_functions.h"
#include "object_model/exchange_events.h"
#include "object_model/object_model.h"
#include "outlook/followed_items.h"
#include "outlook/recently_checked_cache.h"
#include "processing/async_processor.h"
#include "processing/check_observer.h"
#include "processing/message_processor.h"
#include "settings/product_settings_provider.h"
#include "vek/core/current_exception.h"
#include "vek/platform/clock.h"
#include "vek/platform/registry.h"
#include "vek/platform/system.h"
#include "vek/trace/line.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// What an add-in works with. References outlive it.
struct AddinEnvironment {
    // Loads MAPI; may raise.
    std::function<std::shared_ptr<const mapi::MapiFunctions>()> load_mapi;
    // Creates the Exchange client extension object.
    std::function<HRESULT(ExchangeEventSourcePtr&)> create_extension;
    Cursor& cursor;
    loader::ServiceAccess& services = loader::ProcessServices();
    vek::platform::Clock& clock = vek::platform::TheClock();
    vek::platform::System& system = vek::platform::TheSystem();
    vek::trace::TracerPtr tracer = vek::trace::ProcessTracer();
    std::chrono::milliseconds stop_timeout = kThreadStopTimeout;
    vek::platform::Registry& registry = vek::platform::TheRegistry();
    CheckObserver& observer = NoObserver();
};

// The add-in: follows Outlook's events and decides for each whether a message is checked now,
// later or not at all. On Outlook's thread; every handler may be entered from within another.
// Nothing is raised out of it, and no failure of a check keeps Outlook from what it does.
class CAddin final : public ApplicationEvents, public FolderEvents, public ExchangeEvents {
public:
    explicit CAddin(AddinEnvironment environment);
    // As OnDisconnection; never from within a handler: whoever calls one holds the add-in
    // meanwhile.
    ~CAddin();
    CAddin(const CAddin&) = delete;
    CAddin& operator=(const CAddin&) = delete;

    // Subscribes to Outlook's events, checks what is open already and starts the background
    // thread. E_FAIL when `object` is not Outlook, the failed call's code when subscribing or
    // creating the extension object fails; nothing stays advised then. When it is connected
    // already, that connection is ended first. E_ABORT when it is disconnected from within one of
    // the calls made here; a connection made from there stays.
    HRESULT OnConnection(ApplicationObject& object) noexcept;

    // Unsubscribes and ends the background thread, every step even when another fails.
    void OnDisconnection() noexcept;

    void OnItemSend(const ItemPtr& item, bool& cancel) noexcept override;
    void OnOptionsPagesAdd(PropertyPages& pages) noexcept override;
    void OnQuit() noexcept override;
    void OnNewMailEx(const std::u16string* entry_ids) noexcept override;
    void OnItemLoad(const ItemPtr& item) noexcept override;
    void OnItemAdd(const ItemPtr& item) noexcept override;
    void OnDelivery(mapi::IExchExtCallback* callback) noexcept override;
    void OnRead(mapi::IExchExtCallback* callback) noexcept override;

    // For the Options page; null before OnConnection.
    std::shared_ptr<ProductSettingsProvider> settings() const noexcept { return settings_; }

    // The item selected in the active window; null when there is none or it cannot be had.
    ItemPtr GetSelectionItem() noexcept;

private:
    // connection
    void Connect(ApplicationObject& object, std::uint64_t connection);
    void Disconnect() noexcept;
    // Raises E_ABORT when `connection` is not the one that is being made any more: to be asked
    // after each call that goes out, before anything is kept.
    void CheckStill(std::uint64_t connection) const;
    void ReadVersion(Application& application, std::uint64_t connection);
    void AdviseEvents(Application& application, std::uint64_t connection);
    void AdviseExtension(std::uint64_t connection);
    void AdviseInbox(Application& application, std::uint64_t connection);
    void BuildProcessors(Application& application, std::uint64_t connection);
    void CheckOpenItems(const std::vector<ItemPtr>& items, std::uint64_t connection);
    void StartBackground() noexcept;

    // roads of a message
    void ItemRead(const ItemPtr& item) noexcept;
    void ItemReadImpl(const ItemPtr& item);
    void ReadItem(const ItemPtr& item, PendingCheck& check);
    bool IsCheckedElsewhere(const std::u16string& entry_id, PendingCheck& check);
    void SendItem(const ItemPtr& item, PendingCheck& check);
    void SaveIfNeeded(MailItem& mail, bool saved);
    void OnNewMail(std::u16string_view entry_id);
    void CheckCallback(mapi::IExchExtCallback* callback, PendingCheck& check);
    void ProcessMessageWithWaitCursor(IMessage* message, bool incoming, PendingCheck& check);

    // questions
    bool IsNeedScan(std::uint8_t kind);
    MailItemPtr GetMailItem(const ItemPtr& item);
    std::u16string GetMessageEntryId(MailItem& mail);
    bool IsMessageJustCreated(MailItem& mail);
    bool IsItemSaved(MailItem& mail) noexcept;
    void TraceSelection(const ItemPtr& item);

    // Runs a road of a message and tells the observer when it raises before the message was handed
    // on.
    template <class Body>
    void Observe(const Body& road) {
        PendingCheck check(environment_.observer);
        try {
            road(check);
        } catch (...) {
            check.Skip(SkipReason::kFailed, vek::CurrentExceptionResult());
            throw;
        }
    }

    // A line of routine, a failed call of which nothing depends.
    template <class... Pieces>
    void Trace(const Pieces&... pieces) const noexcept {
        vek::trace::Write(environment_.tracer, vek::trace::level::kDetail, pieces...);
    }
    void TraceFailure(std::string_view text, HRESULT result) const noexcept {
        if (FAILED(result))
            vek::trace::Write(environment_.tracer, vek::trace::level::kError, text,
                              vek::trace::Hex(result));
    }

    const AddinEnvironment environment_;

    std::uint64_t connection_ = 0;  // another after each disconnection
    bool quitting_ = false;
    ApplicationPtr application_;
    EventConnectionPtr application_events_;
    EventConnectionPtr newer_application_events_;
    EventConnectionPtr exchange_events_;
    EventConnectionPtr inbox_events_;
    ExchangeEventSourcePtr extension_;
    FollowedItems items_;

    RecentlyCheckedCache recently_checked_;
    bool send_in_progress_ = false;
    bool read_in_progress_ = false;
    bool add_in_progress_ = false;

    // Shared with whoever uses them at the moment: a disconnection may come from within any call.
    std::shared_ptr<ProductSettingsProvider> settings_;
    std::shared_ptr<const mapi::MapiFunctions> functions_;
    std::shared_ptr<MessageProcessor> processor_;
    std::shared_ptr<AsyncProcessor> async_;

    std::int32_t major_version_ = 0;
    // The message that Outlook 2013 must not save. Nobody names one yet.
    std::u16string shared_message_entry_id_;
};

}  // namespace plugins::mail_processing
