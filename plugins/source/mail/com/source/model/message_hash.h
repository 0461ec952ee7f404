#pragma once

#include <cstdint>

#include "mapi/mapi_functions.h"
#include "mapi/mapi_interfaces.h"
#include "model/properties_accessor.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// A fingerprint that stays the same while the message's identity and the sizes of its bodies and
// attachments do. Raises helpers::HResultCodeException when MAPI fails. Called on the thread that
// owns the message.
std::uint64_t MessageHash(const mapi::MapiFunctions& functions, IMessage& message,
                          PropertiesAccessor& properties, const vek::trace::TracerPtr& tracer);

}  // namespace plugins::mail_processing
