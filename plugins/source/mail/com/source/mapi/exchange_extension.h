#pragma once

// The Exchange client extension interfaces, which no toolchain's headers declare. All of them are
// called on Outlook's thread.

#include "mapi/interface_ids.h"
#include "mapi/mapi_interfaces.h"

// windows.h makes a macro of a method's name.
#ifdef GetObject
#undef GetObject
#endif

namespace plugins::mapi {

namespace iid {
inline constexpr IID kExchExtCallback = Ole(0x00020D10);
inline constexpr IID kExchExt = Ole(0x00020D11);  // IID_IExchExt
inline constexpr IID kExchExtSessionEvents = Ole(0x00020D14);
inline constexpr IID kExchExtMessageEvents = Ole(0x00020D15);
}  // namespace iid

// Flags of IExchExtCallback::GetVersion: which version to give.
namespace exch_version {
inline constexpr ULONG kBuild = 1;
inline constexpr ULONG kActual = 2;
inline constexpr ULONG kVirtual = 4;
inline constexpr ULONG kMajorMask = 0xFFFF0000;
inline constexpr ULONG kMinorMask = 0x0000FFFF;
}  // namespace exch_version

// The client, as its extensions see it.
struct IExchExtCallback : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetVersion(ULONG* version, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetWindow(HWND* window) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMenu(HMENU* menu) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetToolbar(ULONG id, HWND* toolbar) = 0;
    // Both results have a reference.
    virtual HRESULT STDMETHODCALLTYPE GetSession(IMAPISession** session,
                                                 IAddrBook** address_book) = 0;
    // Both results have a reference.
    virtual HRESULT STDMETHODCALLTYPE GetObject(IMsgStore** store, IMAPIProp** object) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSelectionCount(ULONG* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSelectionItem(ULONG index, ULONG* entry_id_size,
                                                       ENTRYID** entry_id, ULONG* type,
                                                       LPTSTR message_class,
                                                       ULONG message_class_size, ULONG* flags,
                                                       ULONG options) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMenuPos(ULONG command, HMENU* menu, ULONG* first,
                                                 ULONG* last, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSharedExtsDir(LPTSTR folder, ULONG folder_size,
                                                       ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRecipients(ADRLIST** recipients) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetRecipients(ADRLIST* recipients) = 0;
    // Never called from here: they keep their places in the table.
    virtual HRESULT STDMETHODCALLTYPE GetNewMessageSite() = 0;
    virtual HRESULT STDMETHODCALLTYPE RegisterModeless() = 0;
    virtual HRESULT STDMETHODCALLTYPE ChooseFolder() = 0;
};

// An extension. The client asks it for the event interfaces below.
struct IExchExt : IUnknown {
    // S_OK keeps the extension in the context, S_FALSE drops it.
    virtual HRESULT STDMETHODCALLTYPE Install(IExchExtCallback* callback, ULONG context,
                                              ULONG flags) = 0;
};

// Told of mail that arrives.
struct IExchExtSessionEvents : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE OnDelivery(IExchExtCallback* callback) = 0;
};

// Told of a message that is opened, written or sent in a window.
struct IExchExtMessageEvents : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE OnRead(IExchExtCallback* callback) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnReadComplete(IExchExtCallback* callback, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnWrite(IExchExtCallback* callback) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnWriteComplete(IExchExtCallback* callback, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnCheckNames(IExchExtCallback* callback) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnCheckNamesComplete(IExchExtCallback* callback,
                                                           ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnSubmit(IExchExtCallback* callback) = 0;
    virtual void STDMETHODCALLTYPE OnSubmitComplete(IExchExtCallback* callback, ULONG flags) = 0;
};

}  // namespace plugins::mapi
