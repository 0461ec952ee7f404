#pragma once

#include "model/properties_accessor.h"

namespace plugins::mail_processing {

// Whether the message class says that the message is encrypted or signed: it contains "SMIME",
// ASCII letters compared without case.
bool IsEncryptedOrSigned(PropertiesAccessor& message);

}  // namespace plugins::mail_processing
