#pragma once

// The properties of a message that the add-in itself reads. All of it raises
// helpers::HResultCodeException when the call fails, and leaves nothing of MAPI's memory behind.

#include <string>

#include "mapi/exchange_extension.h"
#include "mapi/mapi_functions.h"
#include "mapi/mapi_interfaces.h"

namespace plugins::mail_processing {

// Reads the sender's name, which has Outlook fetch a message that is only at the server so far.
// A message without one raises 0x80000051.
void TestProperty(IMAPIProp& message, const mapi::MapiFunctions& functions);

// PR_MESSAGE_FLAGS, or 0.
ULONG MessageFlags(IMAPIProp& message, const mapi::MapiFunctions& functions);

// The entry id of the message that an extension was called for, as the object model writes it: two
// uppercase hexadecimal digits a byte. Empty for a message that has none yet. Raises
// vek::CheckFailedException when there is no callback.
std::u16string EntryIdFromCallback(mapi::IExchExtCallback* callback,
                                   const mapi::MapiFunctions& functions);

}  // namespace plugins::mail_processing
