#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "common/loader/service_access.h"
#include "internal/helpers/hresult_exception.h"
#include "mapi/mapi_functions.h"
#include "object_model/exchange_events.h"
#include "object_model/object_model.h"
#include "outlook/followed_items.h"
#include "processing/async_processor.h"
#include "processing/check_observer.h"
#include "processing/message_processor.h"
#include "settings/product_settings_provider.h"
#include "vek/core/throw.h"
#include "vek/platform/clock.h"
#include "vek/platform/registry.h"
#include "vek/platform/system.h"
#include "vek/remoting/call_wait.h"
#include "vek/trace/line.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// What connecting waits for the product at most, checks apart: Outlook switches off an add-in that
// takes a second to start, its loading included.
inline constexpr std::chrono::milliseconds kConnectionWait{400};

// The surroundings that an add-in works with. References outlive it.
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
    // What one event waits for the product at most, checks apart (call_wait.h). That of connecting
    // is kConnectionWait, if this is not less.
    std::chrono::milliseconds event_wait = vek::remoting::kEventWait;
    ItemAdviser advise_item = AdviseItem;
};

// Hears all that Outlook and the client extension tell an add-in.
class AddinEvents : public ApplicationEvents, public FolderEvents, public ExchangeEvents {
public:
    // A followed item is shown.
    virtual void OnItemRead(const ItemPtr& item) noexcept = 0;

protected:
    ~AddinEvents() = default;
};

// Runs `body`; what it raises is traced and goes no further. False then.
template <class Body>
bool TraceExceptions(const vek::trace::TracerPtr& tracer, const Body& body) noexcept {
    try {
        body();
        return true;
    } catch (...) {
        vek::trace::WriteCurrentException(tracer);
        return false;
    }
}

// All that exists between the add-in's connection to Outlook and its disconnection: subscriptions,
// followed items, settings, MAPI and the processors. Made once and ended once, on Outlook's thread.
//
// Every call to Outlook may end it from within. Whoever is at work holds it by its shared pointer,
// so that nothing of it goes away meanwhile; it only refuses to check anything once it has ended.
class ConnectedAddin {
public:
    // `environment` and `events` outlive it.
    ConnectedAddin(const AddinEnvironment& environment, AddinEvents& events);
    // As End.
    ~ConnectedAddin();
    ConnectedAddin(const ConnectedAddin&) = delete;
    ConnectedAddin& operator=(const ConnectedAddin&) = delete;

    // Subscribes to Outlook's events and builds the processors; gives the items that are open. To
    // be called once. Raises vek::BadQueryInterfaceException when `object` is not Outlook,
    // helpers::HResultCodeException with the code of the call that failed, or with E_ABORT when one
    // of the calls ended the connection. Processors that cannot be built are traced alone: the
    // connection stands, and refuses to check.
    std::vector<ItemPtr> Make(ApplicationObject& object);

    // Raises helpers::HResultCodeException E_ABORT when the connection has ended.
    void ThrowIfEnded() const {
        if (ended_) helpers::ThrowHResult(E_ABORT);
    }

    // Starts the background thread, unless Outlook quits already. Without a thread, nothing can be
    // queued.
    void StartBackground() noexcept;
    // No further message is begun in the background. Does not wait.
    void PrepareStop() noexcept;
    // Unsubscribes, lets go of all items, ends the background thread and then the connection to the
    // product, every step even when another fails.
    void End() noexcept;

    Application& application() const noexcept { return *application_; }
    const std::shared_ptr<ProductSettingsProvider>& settings() const noexcept { return settings_; }
    const vek::trace::TracerPtr& tracer() const noexcept { return environment_.tracer; }
    CheckObserver& observer() const noexcept { return environment_.observer; }
    std::int32_t major_version() const noexcept { return major_version_; }

    // Whether the settings want messages checked on a mail_event. False when it has ended.
    bool IsNeedScan(std::uint8_t kind);

    // Has the item's events told to the add-in, until it is unloaded or the connection ends. Raises
    // helpers::HResultCodeException when they cannot be had.
    void Follow(const ItemPtr& item);

    // These raise vek::CheckFailedException when the connection has ended or never got that far.
    const mapi::MapiFunctions& functions() const;
    MessageProcessor& processor() const;
    // Queues a message for the background thread.
    void Queue(std::u16string_view entry_id);
    // Checks a message, or that of an extension's callback, while the wait pointer is shown.
    // Returns when it is checked.
    void ProcessMessageWithWaitCursor(IMessage* message, bool incoming, PendingCheck& check);
    void ProcessMessageWithWaitCursor(mapi::IExchExtCallback* callback, PendingCheck& check);

    // Whether the background thread checks that message at the moment.
    bool IsCheckedInBackground(std::u16string_view entry_id) const;

    // The one place where a handler says why it does not check a message: to people in `text`, to
    // programs by `reason`.
    template <class... Pieces>
    void Skip(PendingCheck& check, SkipReason reason, const Pieces&... text) const noexcept {
        Trace(text...);
        check.Skip(reason);
    }

    template <class... Pieces>
    void Trace(const Pieces&... pieces) const noexcept {
        vek::trace::Write(tracer(), vek::trace::level::kDetail, pieces...);
    }
    // Traces a failed call on whose result nothing depends.
    void TraceFailure(std::string_view text, HRESULT result) const noexcept {
        if (FAILED(result))
            vek::trace::Write(tracer(), vek::trace::level::kError, text, vek::trace::Hex(result));
    }

private:
    template <class Call>
    auto Ask(const Call& call) const;
    template <class Advise>
    void Subscribe(const Advise& advise);

    void ReadVersion();
    void AdviseExtension();
    void AdviseInbox();
    void BuildProcessors();

    const AddinEnvironment& environment_;
    AddinEvents& events_;
    bool ended_ = false;
    bool quitting_ = false;
    bool has_failed_to_start_ = false;  // the background thread

    const std::shared_ptr<ProductSettingsProvider> settings_;
    std::shared_ptr<const mapi::MapiFunctions> functions_;
    // Once made it stays until the end: MAPI is given back with it.
    std::unique_ptr<AsyncProcessor> async_;
    // Released with its session before that.
    std::shared_ptr<MessageProcessor> processor_;

    ApplicationPtr application_;
    std::int32_t major_version_ = 0;
    ExchangeEventSourcePtr extension_;
    std::vector<EventConnectionPtr> subscriptions_;
    FollowedItems items_;
};

}  // namespace plugins::mail_processing
