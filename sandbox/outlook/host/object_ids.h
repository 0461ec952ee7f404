#pragma once

// Outlook's public type library and that of add-ins, as a host needs them: ids of interfaces,
// members and events.

#include "mapi/interface_ids.h"

// The order matters: they need windows.h.
#include <oaidl.h>
#include <ocidl.h>
#include <olectl.h>

namespace sandbox::host {

namespace iid {
using plugins::mapi::iid::Ole;
inline constexpr IID kApplication = Ole(0x00063001);
inline constexpr IID kNameSpace = Ole(0x00063002);
inline constexpr IID kExplorer = Ole(0x00063003);
inline constexpr IID kInspector = Ole(0x00063005);
inline constexpr IID kFolder = Ole(0x00063006);
inline constexpr IID kInspectors = Ole(0x00063008);
inline constexpr IID kMailItem = Ole(0x00063034);
inline constexpr IID kPropertyPage = Ole(0x0006307E);
inline constexpr IID kPropertyPages = Ole(0x00063080);
inline constexpr IID kSelection = Ole(0x00063087);
inline constexpr IID kApplicationEvents = Ole(0x0006304E);
inline constexpr IID kApplicationEvents11 = Ole(0x0006302C);
inline constexpr IID kItemEvents10 = Ole(0x0006302B);
inline constexpr IID kItemsEvents = Ole(0x00063077);
inline constexpr IID kExtensibility = {
    0xB65AD801, 0xABAF, 0x11D0, {0xBB, 0x8B, 0x00, 0xA0, 0xC9, 0x0F, 0x27, 0x44}};
}  // namespace iid

namespace event {
// of the application
inline constexpr DISPID kItemSend = 0xF002;
inline constexpr DISPID kNewMail = 0xF003;
inline constexpr DISPID kOptionsPagesAdd = 0xF005;
inline constexpr DISPID kStartup = 0xF006;
inline constexpr DISPID kQuit = 0xF007;
inline constexpr DISPID kMapiLogonComplete = 0xFA90;
inline constexpr DISPID kNewMailEx = 0xFAB5;
inline constexpr DISPID kItemLoad = 0xFBA7;
// of an item
inline constexpr DISPID kRead = 0xF001;
inline constexpr DISPID kOpen = 0xF003;
inline constexpr DISPID kUnload = 0xFBAD;
// of a folder's items
inline constexpr DISPID kItemAdd = 0xF001;
}  // namespace event

// How and why an add-in is connected and disconnected (ext_ConnectMode, ext_DisconnectMode).
enum class ConnectMode : std::int32_t { kAfterStartup = 0, kStartup = 1 };
enum class DisconnectMode : std::int32_t { kHostShutdown = 0, kUserClosed = 1 };

// An add-in.
struct IExtensibility : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* application, ConnectMode mode,
                                                   IDispatch* addin, SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnDisconnection(DisconnectMode mode, SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) = 0;
};

// A page of the Options dialog.
struct IPropertyPage : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE GetPageInfo(BSTR* help_file, LONG* help_context) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Dirty(VARIANT_BOOL* dirty) = 0;
    virtual HRESULT STDMETHODCALLTYPE Apply() = 0;
};

}  // namespace sandbox::host
