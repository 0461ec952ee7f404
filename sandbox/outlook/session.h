#pragma once

#include <atomic>
#include <memory>

#include "sandbox/outlook/com_object.h"
#include "sandbox/outlook/message_store.h"

namespace sandbox::outlook {

// A session on the store. After Logoff it opens nothing more. Free-threaded, as MAPI's are; the
// objects that it opens belong to the thread that asked.
class Session final : public ComObject<IMAPISession, iid::kSession> {
public:
    Session(std::shared_ptr<Runtime> runtime, std::shared_ptr<MessageStore> store)
        : ComObject(std::move(runtime), Threads::kAny), store_(std::move(store)) {}

    // Opens messages and address book entries.
    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG size, ENTRYID* entry_id, const IID* id, ULONG flags,
                                        ULONG* type, IUnknown** out) final;
    HRESULT STDMETHODCALLTYPE OpenAddressBook(ULONG_PTR window, const IID* id, ULONG flags,
                                              IAddrBook** book) final;
    HRESULT STDMETHODCALLTYPE Logoff(ULONG_PTR window, ULONG flags, ULONG reserved) final;

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR**) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE GetMsgStoresTable(ULONG, IMAPITable**) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE OpenMsgStore(ULONG_PTR, ULONG, ENTRYID*, const IID*, ULONG,
                                           IMsgStore**) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE OpenProfileSection(MAPIUID*, const IID*, ULONG, IProfSect**) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE GetStatusTable(ULONG, IMAPITable**) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG, ENTRYID*, ULONG, ENTRYID*, ULONG,
                                              ULONG*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE MessageOptions(ULONG_PTR, ULONG, LPTSTR, IMessage*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE QueryDefaultMessageOpt(LPTSTR, ULONG, ULONG*, SPropValue**) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE EnumAdrTypes(ULONG, ULONG*, LPTSTR**) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE QueryIdentity(ULONG*, ENTRYID**) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE SetDefaultStore(ULONG, ULONG, ENTRYID*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE AdminServices(ULONG, IMsgServiceAdmin**) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE ShowForm(ULONG_PTR, IMsgStore*, IMAPIFolder*, const IID*, ULONG,
                                       IMessage*, ULONG, ULONG, ULONG, ULONG, LPSTR) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE PrepareForm(const IID*, IMessage*, ULONG*) final {
        return Unsupported();
    }

private:
    const std::shared_ptr<MessageStore> store_;
    std::atomic<bool> logged_off_ = false;
};

}  // namespace sandbox::outlook
