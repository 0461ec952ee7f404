#include "sandbox/outlook/session.h"

#include <utility>

#include "sandbox/outlook/address_book.h"
#include "sandbox/outlook/open_entry.h"

namespace sandbox::outlook {

HRESULT Session::OpenEntry(ULONG size, ENTRYID* entry_id, const IID* id, ULONG flags, ULONG* type,
                           IUnknown** out) {
    return Enter(Call::kOpenEntry, [&]() -> HRESULT {
        if (logged_off_) return MAPI_E_END_OF_SESSION;
        const EntryRequest request{size, entry_id, id, flags, type, out};
        const HRESULT code = OpenMessageEntry(runtime(), store_, request);
        return code == MAPI_E_NOT_FOUND ? OpenUserEntry(runtime(), *store_, request) : code;
    });
}

HRESULT Session::OpenAddressBook(ULONG_PTR, const IID* id, ULONG flags, IAddrBook** book) {
    return Enter(Call::kOpenAddressBook, [&]() -> HRESULT {
        if (book == nullptr) return MAPI_E_INVALID_PARAMETER;
        *book = nullptr;
        if (runtime()->Refuses(flags, AB_NO_DIALOG)) return MAPI_E_UNKNOWN_FLAGS;
        if (logged_off_) return MAPI_E_END_OF_SESSION;
        if (id != nullptr && !(*id == iid::kAddrBook)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
        return GiveTo(book, vek::MakeObject<AddressBook>(runtime(), store_));
    });
}

HRESULT Session::Logoff(ULONG_PTR, ULONG flags, ULONG reserved) {
    return Enter(Call::kLogoff, [&]() -> HRESULT {
        if (runtime()->Refuses(flags | reserved, 0)) return MAPI_E_UNKNOWN_FLAGS;
        logged_off_ = true;
        return S_OK;
    });
}

}  // namespace sandbox::outlook
