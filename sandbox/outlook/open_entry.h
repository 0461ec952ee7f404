#pragma once

#include <memory>

#include "sandbox/outlook/message_store.h"
#include "sandbox/outlook/runtime.h"

namespace sandbox::outlook {

// The arguments that every OpenEntry takes.
struct EntryRequest {
    ULONG size;
    const ENTRYID* entry_id;
    const IID* id;
    ULONG flags;
    ULONG* type;
    IUnknown** out;
};

// The bodies of the OpenEntry methods. Codes: MAPI_E_INVALID_PARAMETER without an id or a place
// for the result, MAPI_E_NOT_FOUND for an unknown id, MAPI_E_INTERFACE_NOT_SUPPORTED.
HRESULT OpenUserEntry(std::shared_ptr<Runtime> runtime, const MessageStore& store,
                      const EntryRequest& request);
HRESULT OpenMessageEntry(std::shared_ptr<Runtime> runtime, std::shared_ptr<MessageStore> store,
                         const EntryRequest& request);

}  // namespace sandbox::outlook
