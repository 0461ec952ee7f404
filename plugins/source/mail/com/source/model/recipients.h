#pragma once

#include <string>

#include "mapi/mapi_functions.h"
#include "mapi/mapi_interfaces.h"
#include "model/properties_accessor.h"

namespace plugins::mail_processing {

// The recipients of `type` (MAPI_TO, MAPI_CC) in table order, each as "name" <type:address> and
// "; ". Those without a name, address type or address are left out. Raises
// vek::ResultCodeException kPropertyNotFound for a message without any recipient.
std::string RecipientList(const mapi::MapiFunctions& functions, IMessage& message, LONG type);

// The SMTP address of the sender's address book entry. Raises kNotFound when the message names
// none. `session` may be null, which is a failed check.
std::string SenderSmtpAddress(const mapi::MapiFunctions& functions, IMAPISession* session,
                              PropertiesAccessor& message);

}  // namespace plugins::mail_processing
