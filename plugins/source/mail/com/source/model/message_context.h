#pragma once

#include <memory>

#include "mapi/mapi_functions.h"
#include "mapi/mapi_interfaces.h"
#include "model/properties_accessor.h"
#include "model/storage_copy.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/clock.h"

namespace plugins::mail_processing {

// The message that an object of the mail model belongs to, and the services that the object works
// with. Released from the last member to the first, so that the accessor saves while the message is
// still there. Owner thread only; `clock` outlives it.
struct MessageContext {
    vek::RefPtr<IMessage> message;
    std::shared_ptr<const mapi::MapiFunctions> functions;
    vek::platform::Clock* clock;
    std::shared_ptr<StorageCopies> storages;
    std::shared_ptr<PropertiesAccessor> accessor;
};

}  // namespace plugins::mail_processing
