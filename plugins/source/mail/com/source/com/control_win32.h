#pragma once

#include <optional>

#include "com/class_factory_win32.h"
#include "com/dialog_layout_win32.h"
#include "mapi/interface_ids.h"
#include "vek/core/ref_ptr.h"
#include "vek/trace/tracer.h"

// The order matters: they need windows.h.
#include <objsafe.h>
#include <ocidl.h>
#include <ole2.h>

namespace plugins::com {

// What a control is, besides what it does.
struct ControlClass {
    CLSID id;
    HINSTANCE module;  // with the dialog, and the type library as its first
    WORD dialog;       // a DIALOGEX resource: WS_CHILD, DS_CONTROL, the font of DialogFont
};

// The part of a COM object that makes it an OLE control whose picture is a dialog. An object
// derives from it instead of from these interfaces, and gives them out by FindControl. On the
// object's thread.
//
// The dialog stands while the control is active in place: from the host's verb until it deactivates
// or closes the control, lets it go, or destroys the window around it. The control has nothing to
// store; it is safe for nobody but the host that it was written for, and says so (IObjectSafety).
class Control : public IOleObject,
                public IOleInPlaceObject,
                public IOleInPlaceActiveObject,
                public IOleControl,
                public IViewObject2,
                public IPersistStreamInit,
                public IPersistStorage,
                public IQuickActivate,
                public IProvideClassInfo,
                public IObjectSafety {
public:
    // IOleObject
    HRESULT STDMETHODCALLTYPE SetClientSite(IOleClientSite* site) noexcept override;
    HRESULT STDMETHODCALLTYPE GetClientSite(IOleClientSite** out) noexcept override;
    HRESULT STDMETHODCALLTYPE SetHostNames(LPCOLESTR, LPCOLESTR) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Close(DWORD save) noexcept override;
    HRESULT STDMETHODCALLTYPE SetMoniker(DWORD, IMoniker*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMoniker(DWORD, DWORD, IMoniker** out) noexcept override;
    HRESULT STDMETHODCALLTYPE InitFromData(IDataObject*, BOOL, DWORD) noexcept override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetClipboardData(DWORD, IDataObject** out) noexcept override;
    HRESULT STDMETHODCALLTYPE DoVerb(LONG verb, MSG* message, IOleClientSite* site, LONG index,
                                     HWND parent, LPCRECT place) noexcept override;
    HRESULT STDMETHODCALLTYPE EnumVerbs(IEnumOLEVERB** out) noexcept override;
    HRESULT STDMETHODCALLTYPE Update() noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE IsUpToDate() noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetUserClassID(CLSID* out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetUserType(DWORD form, LPOLESTR* out) noexcept override;
    HRESULT STDMETHODCALLTYPE SetExtent(DWORD aspect, SIZEL* size) noexcept override;
    HRESULT STDMETHODCALLTYPE GetExtent(DWORD aspect, SIZEL* size) noexcept override;
    HRESULT STDMETHODCALLTYPE Advise(IAdviseSink* sink, DWORD* cookie) noexcept override;
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) noexcept override;
    HRESULT STDMETHODCALLTYPE EnumAdvise(IEnumSTATDATA** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetMiscStatus(DWORD aspect, DWORD* status) noexcept override;
    HRESULT STDMETHODCALLTYPE SetColorScheme(LOGPALETTE*) noexcept override { return E_NOTIMPL; }

    // IOleWindow, IOleInPlaceObject, IOleInPlaceActiveObject
    HRESULT STDMETHODCALLTYPE GetWindow(HWND* out) noexcept override;
    HRESULT STDMETHODCALLTYPE ContextSensitiveHelp(BOOL) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE InPlaceDeactivate() noexcept override;
    HRESULT STDMETHODCALLTYPE UIDeactivate() noexcept override;
    HRESULT STDMETHODCALLTYPE SetObjectRects(LPCRECT place, LPCRECT clip) noexcept override;
    HRESULT STDMETHODCALLTYPE ReactivateAndUndo() noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE TranslateAccelerator(MSG* message) noexcept override;
    HRESULT STDMETHODCALLTYPE OnFrameWindowActivate(BOOL) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnDocWindowActivate(BOOL) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE ResizeBorder(LPCRECT, IOleInPlaceUIWindow*, BOOL) noexcept override {
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE EnableModeless(BOOL) noexcept override { return S_OK; }

    // IOleControl
    HRESULT STDMETHODCALLTYPE GetControlInfo(CONTROLINFO*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE OnMnemonic(MSG*) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnAmbientPropertyChange(DISPID) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE FreezeEvents(BOOL) noexcept override { return S_OK; }

    // IViewObject2
    HRESULT STDMETHODCALLTYPE Draw(DWORD aspect, LONG, void*, DVTARGETDEVICE*, HDC, HDC context,
                                   LPCRECTL place, LPCRECTL, BOOL(CALLBACK*)(ULONG_PTR),
                                   ULONG_PTR) noexcept override;
    HRESULT STDMETHODCALLTYPE GetColorSet(DWORD, LONG, void*, DVTARGETDEVICE*, HDC,
                                          LOGPALETTE** out) noexcept override;
    HRESULT STDMETHODCALLTYPE Freeze(DWORD, LONG, void*, DWORD*) noexcept override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Unfreeze(DWORD) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetAdvise(DWORD aspects, DWORD flags,
                                        IAdviseSink* sink) noexcept override;
    HRESULT STDMETHODCALLTYPE GetAdvise(DWORD* aspects, DWORD* flags,
                                        IAdviseSink** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetExtent(DWORD aspect, LONG, DVTARGETDEVICE*,
                                        LPSIZEL size) noexcept override {
        return GetExtent(aspect, size);
    }

    // IPersist, IPersistStreamInit, IPersistStorage
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* out) noexcept override;
    HRESULT STDMETHODCALLTYPE IsDirty() noexcept override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE Load(IStream*) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Save(IStream*, BOOL) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER* size) noexcept override;
    HRESULT STDMETHODCALLTYPE InitNew() noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE InitNew(IStorage*) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Load(IStorage*) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Save(IStorage*, BOOL) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE SaveCompleted(IStorage*) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE HandsOffStorage() noexcept override { return S_OK; }

    // IQuickActivate
    HRESULT STDMETHODCALLTYPE QuickActivate(QACONTAINER* container,
                                            QACONTROL* control) noexcept override;
    HRESULT STDMETHODCALLTYPE SetContentExtent(LPSIZEL size) noexcept override {
        return SetExtent(DVASPECT_CONTENT, size);
    }
    HRESULT STDMETHODCALLTYPE GetContentExtent(LPSIZEL size) noexcept override {
        return GetExtent(DVASPECT_CONTENT, size);
    }

    // IProvideClassInfo: what the module's type library says of the class
    HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** out) noexcept override {
        return GetTypeInfoOf(class_.id, out);
    }

    // IObjectSafety: no option is supported
    HRESULT STDMETHODCALLTYPE GetInterfaceSafetyOptions(REFIID id, DWORD* supported,
                                                        DWORD* enabled) noexcept override;
    HRESULT STDMETHODCALLTYPE SetInterfaceSafetyOptions(REFIID id, DWORD mask,
                                                        DWORD enabled) noexcept override;

protected:
    Control(const ControlClass& of, vek::trace::TracerPtr tracer) noexcept;
    ~Control() = default;
    // Takes the dialog down; the derived object is told nothing any more. Its destructor begins
    // with this.
    void DestroyDialog() noexcept;

    // Gives this object as one of the interfaces above, without a reference; null for others.
    void* FindControl(REFIID id) noexcept;

    // What the module's type library says of a class or an interface.
    HRESULT GetTypeInfoOf(REFGUID id, ITypeInfo** out) noexcept;

    // The dialog; null while the control is not active.
    HWND window() const noexcept { return window_; }
    IOleClientSite* site() const noexcept { return site_.get(); }
    HINSTANCE module() const noexcept { return class_.module; }
    const vek::trace::TracerPtr& tracer() const noexcept { return tracer_; }
    // To be called when texts have changed. May raise.
    void ArrangeDialog();

    // What derived objects do; an exception is traced.
    virtual void OnInitialise() = 0;
    // Any other message of the dialog's; true when nothing is left to do.
    virtual bool OnMessage(UINT message, WPARAM wide, LPARAM last) = 0;
    // The controls have another size now.
    virtual void OnScaled() {}
    // The dialog is about to go.
    virtual void OnGone() noexcept = 0;

private:
    static INT_PTR CALLBACK DialogProcedure(HWND dialog, UINT message, WPARAM wide,
                                            LPARAM last) noexcept;
    void HandleMessage(UINT message, WPARAM wide, LPARAM last, bool& handled);
    void ActivateInPlace();
    void CreateDialogWindow(HWND parent, const RECT& place);
    void ActivateInterface();
    HRESULT TranslateTab(MSG& message);
    bool HasFocus() const noexcept;
    HWND SiteWindow() const noexcept;
    void ScaleTo(HWND window);

    const InstanceMark mark_;
    const ControlClass class_;
    const vek::trace::TracerPtr tracer_;
    vek::RefPtr<IOleClientSite> site_;
    vek::RefPtr<IOleAdviseHolder> advised_;
    vek::RefPtr<IAdviseSink> view_sink_;
    std::optional<SIZEL> extent_;  // set by the host
    // While it is active in place.
    vek::RefPtr<IOleInPlaceSite> place_;
    vek::RefPtr<IOleInPlaceFrame> frame_;
    vek::RefPtr<IOleInPlaceUIWindow> document_;
    HWND window_ = nullptr;
    std::optional<DialogLayout> layout_;
    bool has_interface_ = false;  // active with its user interface
};

}  // namespace plugins::com
