#pragma once

#include <string>

#include "model/properties_accessor.h"

namespace plugins::mail_processing {

// The one line that says which message this is: "[To:" and the addressees of a received message,
// "[From:" and the sender of any other, then subject and time. Raises kNotFound for a received
// message without its "To" line.
std::string HeaderSummary(PropertiesAccessor& message);

// The line "name" <type:address>, of the three properties' texts or nothing where one is missing.
std::string AddressLine(PropertiesAccessor& message, ULONG name_tag, ULONG type_tag,
                        ULONG address_tag);

}  // namespace plugins::mail_processing
