#pragma once

#include <memory>

#include "mapi/mapi_functions.h"
#include "vek/platform/registry.h"
#include "vek/platform/system.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// Initialises MAPI for the thread that makes it, and gives MAPI back on the thread that destroys
// it, which must be the same. A failure is traced and kept, not raised.
class MapiInitialization {
public:
    // `registry` names the default mail client, and is not kept.
    MapiInitialization(std::shared_ptr<const mapi::MapiFunctions> functions,
                       vek::platform::Registry& registry, vek::trace::TracerPtr tracer) noexcept;
    ~MapiInitialization();
    MapiInitialization(const MapiInitialization&) = delete;
    MapiInitialization& operator=(const MapiInitialization&) = delete;

    // Gives MAPI back on a thread of its own and waits for that for a second at most: for when a
    // thread that used MAPI was ended by force, which may have kept a lock of MAPI's. To be called
    // once.
    void GiveBackWithoutTrust(vek::platform::System& system) noexcept;

    // Negative when MAPI is not initialised.
    HRESULT result() const noexcept { return result_; }

private:
    const std::shared_ptr<const mapi::MapiFunctions> functions_;
    const vek::trace::TracerPtr tracer_;
    const HRESULT result_;
    bool given_back_ = false;
};

}  // namespace plugins::mail_processing
