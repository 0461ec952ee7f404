#pragma once

#include <chrono>
#include <memory>

#include "common/loader/service_access.h"
#include "processing/check_observer.h"
#include "sandbox/outlook/object_model/host_outlook.h"
#include "vek/platform/clock.h"
#include "vek/trace/tracer.h"

namespace sandbox::demo {

// Loads the add-in into the stand-in Outlook. References outlive it.
class AddinSession {
public:
    AddinSession(outlook::HostOutlook& host, plugins::loader::ServiceAccess& services,
                 vek::platform::Clock& clock, vek::trace::TracerPtr tracer,
                 plugins::mail_processing::CheckObserver& observer,
                 std::chrono::milliseconds event_wait);
    // Disconnects.
    ~AddinSession();
    AddinSession(const AddinSession&) = delete;
    AddinSession& operator=(const AddinSession&) = delete;

    // Loads the add-in and connects it, on Outlook's thread.
    HRESULT Connect();
    // Disconnects and unloads it.
    void Disconnect();
    bool is_connected() const;

private:
    class Parts;
    const std::unique_ptr<Parts> parts_;
};

}  // namespace sandbox::demo
