#include "sandbox/outlook/open_entry.h"

#include <string>
#include <utility>

#include "sandbox/outlook/address_book.h"
#include "sandbox/outlook/open_message.h"

namespace sandbox::outlook {
namespace {

HRESULT Check(const Runtime& runtime, const EntryRequest& request) {
    if (request.out == nullptr || request.type == nullptr) return MAPI_E_INVALID_PARAMETER;
    *request.out = nullptr;
    if (runtime.Refuses(request.flags, kOpenFlags)) return MAPI_E_UNKNOWN_FLAGS;
    return request.size != 0 && request.entry_id != nullptr ? S_OK : MAPI_E_INVALID_PARAMETER;
}

std::string IdOf(const EntryRequest& request) {
    return {reinterpret_cast<const char*>(request.entry_id), request.size};
}

// The object's own interface is given when none is asked for.
bool IsAskedFor(const EntryRequest& request, REFIID own) {
    return request.id == nullptr || *request.id == own || *request.id == iid::kProp ||
           *request.id == iid::kUnknown;
}

}  // namespace

HRESULT OpenUserEntry(std::shared_ptr<Runtime> runtime, const MessageStore& store,
                      const EntryRequest& request) {
    if (const HRESULT code = Check(*runtime, request); FAILED(code)) return code;
    auto properties = store.FindUser(IdOf(request));
    if (properties == nullptr) return MAPI_E_NOT_FOUND;
    if (!IsAskedFor(request, iid::kMailUser)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    *request.type = MAPI_MAILUSER;
    return GiveTo(request.out,
                  vek::MakeObject<AddressEntry>(std::move(runtime), std::move(properties)));
}

HRESULT OpenMessageEntry(std::shared_ptr<Runtime> runtime, std::shared_ptr<MessageStore> store,
                         const EntryRequest& request) {
    if (const HRESULT code = Check(*runtime, request); FAILED(code)) return code;
    runtime->NoteOpened(IdOf(request));
    auto message =
        OpenStoredMessage(std::move(runtime), std::move(store), IdOf(request), request.flags);
    if (!message) return MAPI_E_NOT_FOUND;
    if (!IsAskedFor(request, iid::kMessage)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    *request.type = MAPI_MESSAGE;
    return GiveTo(request.out, std::move(message));
}

}  // namespace sandbox::outlook
