#pragma once

#include <memory>

#include "sandbox/outlook/message_store.h"
#include "sandbox/outlook/open_entry.h"
#include "sandbox/outlook/property_object.h"

namespace sandbox::outlook {

// One entry of the address book, for reading.
class AddressEntry final : public PropertyObject<IMailUser, iid::kMailUser> {
public:
    AddressEntry(std::shared_ptr<Runtime> runtime, std::shared_ptr<const PropertyBag> properties)
        : PropertyObject(std::move(runtime), Access::kReadOnly),
          properties_(std::move(properties)) {}

    std::optional<PropertyValue> Get(ULONG tag) const final {
        const PropertyValue* const value = properties_->Find(tag);
        return value != nullptr ? std::optional(*value) : std::nullopt;
    }
    std::vector<ULONG> Tags() const final { return PropertyTags(*properties_, {}); }
    HRESULT Put(ULONG, std::optional<PropertyValue>) final { return MAPI_E_NO_ACCESS; }
    HRESULT Save(ULONG) final { return MAPI_E_NO_ACCESS; }

private:
    const std::shared_ptr<const PropertyBag> properties_;
};

// The address book over the store's entries; it has no properties of its own.
class AddressBook final : public PropertyObject<IAddrBook, iid::kAddrBook> {
public:
    AddressBook(std::shared_ptr<Runtime> runtime, std::shared_ptr<const MessageStore> store)
        : PropertyObject(std::move(runtime), Access::kReadOnly), store_(std::move(store)) {}

    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG size, ENTRYID* entry_id, const IID* id, ULONG flags,
                                        ULONG* type, IUnknown** out) final {
        return Enter(Call::kOpenAddressEntry, [&] {
            return OpenUserEntry(runtime(), *store_, {size, entry_id, id, flags, type, out});
        });
    }

    HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG, ENTRYID*, ULONG, ENTRYID*, ULONG,
                                              ULONG*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE CreateOneOff(LPTSTR, LPTSTR, LPTSTR, ULONG, ULONG*, ENTRYID**) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE NewEntry(ULONG_PTR, ULONG, ULONG, ENTRYID*, ULONG, ENTRYID*, ULONG*,
                                       ENTRYID**) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE ResolveName(ULONG_PTR, ULONG, LPTSTR, ADRLIST*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE Address(ULONG_PTR*, ADRPARM*, ADRLIST**) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE Details(ULONG*, LPFNDISMISS, void*, ULONG, ENTRYID*, LPFNBUTTON,
                                      void*, LPTSTR, ULONG) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE RecipOptions(ULONG_PTR, ULONG, ADRENTRY*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE QueryDefaultRecipOpt(LPTSTR, ULONG, ULONG*, SPropValue**) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE GetPAB(ULONG*, ENTRYID**) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE SetPAB(ULONG, ENTRYID*) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE GetDefaultDir(ULONG*, ENTRYID**) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE SetDefaultDir(ULONG, ENTRYID*) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE GetSearchPath(ULONG, SRowSet**) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE SetSearchPath(ULONG, SRowSet*) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE PrepareRecips(ULONG, SPropTagArray*, ADRLIST*) final {
        return Unsupported();
    }

    std::optional<PropertyValue> Get(ULONG) const final { return std::nullopt; }
    std::vector<ULONG> Tags() const final { return {}; }
    HRESULT Put(ULONG, std::optional<PropertyValue>) final { return MAPI_E_NO_ACCESS; }
    HRESULT Save(ULONG) final { return MAPI_E_NO_ACCESS; }

private:
    const std::shared_ptr<const MessageStore> store_;
};

}  // namespace sandbox::outlook
