#pragma once

#include <memory>

#include "sandbox/outlook/message_store.h"
#include "sandbox/outlook/open_entry.h"
#include "sandbox/outlook/property_object.h"

namespace sandbox::outlook {

// The store as IMsgStore: it opens messages and has no properties of its own.
class StoreObject final : public PropertyObject<IMsgStore, iid::kMsgStore> {
public:
    StoreObject(std::shared_ptr<Runtime> runtime, std::shared_ptr<MessageStore> store)
        : PropertyObject(std::move(runtime), Access::kReadOnly), store_(std::move(store)) {}

    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG size, ENTRYID* entry_id, const IID* id, ULONG flags,
                                        ULONG* type, IUnknown** out) final {
        return Enter(Call::kOpenEntry, [&] {
            return OpenMessageEntry(runtime(), store_, {size, entry_id, id, flags, type, out});
        });
    }

    HRESULT STDMETHODCALLTYPE Advise(ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG, ENTRYID*, ULONG, ENTRYID*, ULONG,
                                              ULONG*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE SetReceiveFolder(LPTSTR, ULONG, ULONG, ENTRYID*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE GetReceiveFolder(LPTSTR, ULONG, ULONG*, ENTRYID**, LPTSTR*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE GetReceiveFolderTable(ULONG, IMAPITable**) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE StoreLogoff(ULONG*) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE AbortSubmit(ULONG, ENTRYID*, ULONG) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE GetOutgoingQueue(ULONG, IMAPITable**) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE SetLockState(IMessage*, ULONG) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE FinishedMsg(ULONG, ULONG, ENTRYID*) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE NotifyNewMail(NOTIFICATION*) final { return Unsupported(); }

    std::optional<PropertyValue> Get(ULONG) const final { return std::nullopt; }
    std::vector<ULONG> Tags() const final { return {}; }
    HRESULT Put(ULONG, std::optional<PropertyValue>) final { return MAPI_E_NO_ACCESS; }
    HRESULT Save(ULONG) final { return MAPI_E_NO_ACCESS; }

private:
    const std::shared_ptr<MessageStore> store_;
};

}  // namespace sandbox::outlook
