#include "sandbox/outlook/address_book.h"

#include "sandbox/outlook/open_entry.h"

namespace sandbox::outlook {

HRESULT AddressBook::OpenEntry(ULONG size, ENTRYID* entry_id, const IID* id, ULONG flags,
                               ULONG* type, IUnknown** out) {
    return Enter(Call::kOpenAddressEntry, [&] {
        return OpenUserEntry(runtime(), *store_, {size, entry_id, id, flags, type, out});
    });
}

}  // namespace sandbox::outlook
