#pragma once

#include <memory>

#include "mapi/mapi_functions.h"
#include "vek/platform/registry.h"
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

    // Negative when MAPI is not initialised.
    HRESULT result() const noexcept { return result_; }

private:
    const std::shared_ptr<const mapi::MapiFunctions> functions_;
    const vek::trace::TracerPtr tracer_;
    const HRESULT result_;
};

}  // namespace plugins::mail_processing
