#pragma once

#include <memory>

#include "mapi/mapi_functions.h"
#include "vek/platform/registry.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// MAPI, initialised for the thread that makes this; that thread destroys it, which gives MAPI
// back. A failure is traced, kept and not raised.
class MapiInitialization {
public:
    // `registry` names the default mail client, and is not kept.
    MapiInitialization(std::shared_ptr<const mapi::MapiFunctions> functions,
                       vek::platform::Registry& registry, vek::trace::TracerPtr tracer) noexcept;
    ~MapiInitialization();
    MapiInitialization(const MapiInitialization&) = delete;
    MapiInitialization& operator=(const MapiInitialization&) = delete;

    // Negative when MAPI is not initialised.
    HRESULT result() const noexcept { return result_; }

private:
    const std::shared_ptr<const mapi::MapiFunctions> functions_;
    const vek::trace::TracerPtr tracer_;
    const HRESULT result_;
};

}  // namespace plugins::mail_processing
