#pragma once

// The texts that describe a message: which it is, who sent it, whom it goes to. Called on the
// thread that owns the message.

#include <string>

#include "mapi/mapi_functions.h"
#include "mapi/mapi_interfaces.h"
#include "model/properties_accessor.h"

namespace plugins::mail_processing {

// The one line that says which message this is: "[To:" and the addressees of a received message,
// "[From:" and the sender of any other, then subject and time. Raises vek::ResultCodeException
// kNotFound for a received message without its "To" line.
std::string HeaderSummary(PropertiesAccessor& message);

// The line "name" <type:address> of the three properties' texts. A missing property adds nothing.
std::string AddressLine(PropertiesAccessor& message, ULONG name_tag, ULONG type_tag,
                        ULONG address_tag);

// The recipients of `type` (MAPI_TO, MAPI_CC) in table order, each as "name" <type:address> and
// "; ". Those without a name, address type or address are left out. Raises
// vek::ResultCodeException kPropertyNotFound for a message without any recipient, and
// helpers::HResultCodeException when MAPI fails.
std::string RecipientList(const mapi::MapiFunctions& functions, IMessage& message, LONG type);

// The SMTP address of the sender's address book entry. Raises vek::ResultCodeException kNotFound
// when the message names no entry, vek::CheckFailedException when `session` is null or the entry
// has no such text, and helpers::HResultCodeException when MAPI fails.
std::string SenderSmtpAddress(const mapi::MapiFunctions& functions, IMAPISession* session,
                              PropertiesAccessor& message);

}  // namespace plugins::mail_processing
