#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "common/loader/service_access.h"
#include "mapi/mapi_functions.h"
#include "outlook/exchange_events.h"
#include "outlook/object_model.h"
#include "processing/async_processor.h"
#include "processing/message_processor.h"
#include "settings/product_settings_provider.h"
#include "vek/platform/clock.h"
#include "vek/platform/system.h"
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
};

// The add-in: follows Outlook's events and decides for each whether a message is checked now,
// later or not at all. On Outlook's thread; every handler may be entered from within another.
// Nothing is raised out of it, and no failure of a check keeps Outlook from what it does.
class CAddin final : public ApplicationEvents, public FolderEvents, public ExchangeEvents {
public:
    explicit CAddin(AddinEnvironment environment);
    ~CAddin();
    CAddin(const CAddin&) = delete;
    CAddin& operator=(const CAddin&) = delete;

    // Subscribes to Outlook's events, checks what is open already and starts the background
    // thread. E_FAIL when `object` is not Outlook, the failed call's code when subscribing or
    // creating the extension object fails; nothing stays advised then.
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
    std::shared_ptr<ProductSettingsProvider> settings() const noexcept;

    // (Private members are the implementer's.)
};

}  // namespace plugins::mail_processing
