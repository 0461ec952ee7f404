#include "model/smime.h"

#include <string>

#include "mapi/property_tags.h"
#include "model/ascii.h"

namespace plugins::mail_processing {

bool IsEncryptedOrSigned(PropertiesAccessor& message) {
    const auto* message_class = message.TryGetProperty<std::string>(mapi::tag::kMessageClassA);
    return message_class != nullptr && ContainsNoCase(*message_class, "smime");
}

}  // namespace plugins::mail_processing
