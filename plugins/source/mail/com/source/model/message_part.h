#pragma once

#include <memory>

#include "mapi/mapi_functions.h"
#include "mapi/mapi_interfaces.h"
#include "model/properties_accessor.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/clock.h"

namespace plugins::mail_processing {

// What an object of the mail model needs of its message. Released from the last to the first: the
// accessor saves while the message is still there. Owner thread only.
struct MessagePart {
    vek::RefPtr<IMessage> message;
    std::shared_ptr<const mapi::MapiFunctions> functions;
    vek::platform::Clock* clock;
    std::shared_ptr<PropertiesAccessor> accessor;
};

}  // namespace plugins::mail_processing
