#include "com/control_win32.h"

#include <olectl.h>

#include <utility>

#include "com/border.h"
#include "com/module_path_win32.h"
#include "internal/helpers/hresult_exception.h"

namespace plugins::com {
namespace {

using helpers::CheckHResult;

constexpr DWORD kMiscStatus = OLEMISC_RECOMPOSEONRESIZE | OLEMISC_CANTLINKINSIDE |
                              OLEMISC_INSIDEOUT | OLEMISC_ACTIVATEWHENVISIBLE |
                              OLEMISC_SETCLIENTSITEFIRST;
static_assert(kMiscStatus == 131473);  // as the class is registered

constexpr int kHimetricPerInch = 2540;

// Between pixels and hundredths of a millimetre hosts convert by the screen's resolution.
class Himetric {
public:
    Himetric() noexcept {
        const HDC screen = ::GetDC(nullptr);
        across_ = ::GetDeviceCaps(screen, LOGPIXELSX);
        down_ = ::GetDeviceCaps(screen, LOGPIXELSY);
        ::ReleaseDC(nullptr, screen);
    }
    SIZEL FromPixels(SIZE pixels) const noexcept {
        return {::MulDiv(pixels.cx, kHimetricPerInch, across_),
                ::MulDiv(pixels.cy, kHimetricPerInch, down_)};
    }

private:
    int across_ = 0;
    int down_ = 0;
};

}  // namespace

Control::Control(const ControlClass& of, vek::trace::TracerPtr tracer) noexcept
    : class_(of), tracer_(std::move(tracer)) {}

void* Control::FindControl(REFIID id) noexcept {
    if (id == IID_IOleObject) return static_cast<IOleObject*>(this);
    if (id == IID_IOleWindow || id == IID_IOleInPlaceObject)
        return static_cast<IOleInPlaceObject*>(this);
    if (id == IID_IOleInPlaceActiveObject) return static_cast<IOleInPlaceActiveObject*>(this);
    if (id == IID_IOleControl) return static_cast<IOleControl*>(this);
    if (id == IID_IViewObject || id == IID_IViewObject2) return static_cast<IViewObject2*>(this);
    if (id == IID_IPersist || id == IID_IPersistStreamInit)
        return static_cast<IPersistStreamInit*>(this);
    if (id == IID_IPersistStorage) return static_cast<IPersistStorage*>(this);
    if (id == IID_IQuickActivate) return static_cast<IQuickActivate*>(this);
    if (id == IID_IProvideClassInfo) return static_cast<IProvideClassInfo*>(this);
    if (id == IID_IObjectSafety) return static_cast<IObjectSafety*>(this);
    return nullptr;
}

HRESULT Control::GetTypeInfoOf(REFGUID id, ITypeInfo** out) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return AtBorder([&]() -> HRESULT {
        vek::RefPtr<ITypeLib> library;
        CheckHResult(
            ::LoadTypeLibEx(ModulePath(class_.module).c_str(), REGKIND_NONE, library.put()));
        return library->GetTypeInfoOfGuid(id, out);
    });
}

// IOleObject

HRESULT Control::SetClientSite(IOleClientSite* site) noexcept {
    const auto hold = vek::RefPtr<IOleObject>::Share(this);
    if (site == nullptr) InPlaceDeactivate();
    site_ = vek::RefPtr<IOleClientSite>::Share(site);
    return S_OK;
}

HRESULT Control::GetClientSite(IOleClientSite** out) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = vek::RefPtr(site_).detach();
    return S_OK;
}

HRESULT Control::Close(DWORD) noexcept {
    const auto hold = vek::RefPtr<IOleObject>::Share(this);
    InPlaceDeactivate();
    if (advised_) advised_->SendOnClose();
    return S_OK;
}

HRESULT Control::GetMoniker(DWORD, DWORD, IMoniker** out) noexcept {
    if (out != nullptr) *out = nullptr;
    return E_NOTIMPL;
}

HRESULT Control::GetClipboardData(DWORD, IDataObject** out) noexcept {
    if (out != nullptr) *out = nullptr;
    return E_NOTIMPL;
}

HRESULT Control::EnumVerbs(IEnumOLEVERB** out) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return OLEOBJ_E_NOVERBS;
}

HRESULT Control::GetUserClassID(CLSID* out) noexcept { return GetClassID(out); }

HRESULT Control::GetUserType(DWORD, LPOLESTR* out) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return OLE_S_USEREG;
}

HRESULT Control::SetExtent(DWORD aspect, SIZEL* size) noexcept {
    if (size == nullptr) return E_POINTER;
    if (aspect != DVASPECT_CONTENT) return DV_E_DVASPECT;
    extent_ = *size;
    return S_OK;
}

HRESULT Control::GetExtent(DWORD aspect, SIZEL* size) noexcept {
    if (size == nullptr) return E_POINTER;
    if (aspect != DVASPECT_CONTENT) return DV_E_DVASPECT;
    if (extent_) {
        *size = *extent_;
    } else {
        const HWND window = SiteWindow();
        const DialogFont font(ResolutionOf(window));
        const SIZE pixels = font.ToPixels(DialogUnits(class_.module, class_.dialog));
        *size = Himetric().FromPixels(AsThisThreadMeasures(window, pixels));
    }
    return S_OK;
}

HRESULT Control::Advise(IAdviseSink* sink, DWORD* cookie) noexcept {
    if (cookie == nullptr) return E_POINTER;
    *cookie = 0;
    return AtBorder([&]() -> HRESULT {
        if (!advised_) CheckHResult(::CreateOleAdviseHolder(advised_.put()));
        return advised_->Advise(sink, cookie);
    });
}

HRESULT Control::Unadvise(DWORD cookie) noexcept {
    return advised_ ? advised_->Unadvise(cookie) : OLE_E_NOCONNECTION;
}

HRESULT Control::EnumAdvise(IEnumSTATDATA** out) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return advised_ ? advised_->EnumAdvise(out) : S_OK;
}

HRESULT Control::GetMiscStatus(DWORD aspect, DWORD* status) noexcept {
    if (status == nullptr) return E_POINTER;
    *status = aspect == DVASPECT_CONTENT ? kMiscStatus : 0;
    return S_OK;
}

// IViewObject2

HRESULT Control::Draw(DWORD aspect, LONG, void*, DVTARGETDEVICE*, HDC, HDC context, LPCRECTL place,
                      LPCRECTL, BOOL(CALLBACK*)(ULONG_PTR), ULONG_PTR) noexcept {
    if (context == nullptr || place == nullptr) return E_POINTER;
    if (aspect != DVASPECT_CONTENT) return DV_E_DVASPECT;
    const RECT area{place->left, place->top, place->right, place->bottom};
    ::FillRect(context, &area, ::GetSysColorBrush(COLOR_3DFACE));
    if (window_ != nullptr) {
        POINT origin{};
        ::SetViewportOrgEx(context, area.left, area.top, &origin);
        ::SendMessageW(window_, WM_PRINT, reinterpret_cast<WPARAM>(context),
                       PRF_CLIENT | PRF_ERASEBKGND | PRF_CHILDREN);
        ::SetViewportOrgEx(context, origin.x, origin.y, nullptr);
    }
    return S_OK;
}

HRESULT Control::GetColorSet(DWORD, LONG, void*, DVTARGETDEVICE*, HDC, LOGPALETTE** out) noexcept {
    if (out != nullptr) *out = nullptr;
    return S_FALSE;
}

HRESULT Control::SetAdvise(DWORD, DWORD, IAdviseSink* sink) noexcept {
    view_sink_ = vek::RefPtr<IAdviseSink>::Share(sink);
    return S_OK;
}

HRESULT Control::GetAdvise(DWORD* aspects, DWORD* flags, IAdviseSink** out) noexcept {
    if (aspects != nullptr) *aspects = DVASPECT_CONTENT;
    if (flags != nullptr) *flags = 0;
    if (out != nullptr) *out = vek::RefPtr(view_sink_).detach();
    return S_OK;
}

// The others

HRESULT Control::GetClassID(CLSID* out) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = class_.id;
    return S_OK;
}

HRESULT Control::GetSizeMax(ULARGE_INTEGER* size) noexcept {
    if (size == nullptr) return E_POINTER;
    size->QuadPart = 0;
    return S_OK;
}

HRESULT Control::QuickActivate(QACONTAINER* container, QACONTROL* control) noexcept {
    if (container == nullptr || control == nullptr) return E_POINTER;
    if (container->cbSize < sizeof(QACONTAINER) || control->cbSize < sizeof(QACONTROL))
        return E_INVALIDARG;
    const ULONG size = control->cbSize;
    *control = {};
    control->cbSize = size;
    control->dwMiscStatus = kMiscStatus;
    control->dwViewStatus = VIEWSTATUS_OPAQUE;
    SetClientSite(container->pClientSite);
    if (container->pAdviseSink != nullptr)
        SetAdvise(DVASPECT_CONTENT, 0, reinterpret_cast<IAdviseSink*>(container->pAdviseSink));
    return S_OK;
}

HRESULT Control::GetInterfaceSafetyOptions(REFIID id, DWORD* supported, DWORD* enabled) noexcept {
    if (supported == nullptr || enabled == nullptr) return E_POINTER;
    *supported = *enabled = 0;
    vek::RefPtr<IUnknown> found;
    return static_cast<IOleObject*>(this)->QueryInterface(id, found.put_void());
}

HRESULT Control::SetInterfaceSafetyOptions(REFIID id, DWORD mask, DWORD enabled) noexcept {
    vek::RefPtr<IUnknown> found;
    if (FAILED(static_cast<IOleObject*>(this)->QueryInterface(id, found.put_void())))
        return E_NOINTERFACE;
    return (mask & enabled) == 0 ? S_OK : E_FAIL;
}

}  // namespace plugins::com
