#pragma once

#include <windows.h>

#include <chrono>
#include <functional>
#include <memory>
#include <type_traits>

#include "com/com_object.h"
#include "vek/core/ref_ptr.h"

// The order matters: they need windows.h.
#include <ocidl.h>
#include <ole2.h>

namespace sandbox::outlook {

// Outlook's PropertyPageSite, dual: other members stand before the one that pages call.
struct PropertyPageSite : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE get_Application(IDispatch** out) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Class(LONG* out) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Session(IDispatch** out) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Parent(IDispatch** out) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnStatusChange() = 0;
};

// A window with a page's control in it and the buttons OK and Apply below, as Outlook's Options
// dialog is one. On the thread that makes it, in an apartment of its own: it refuses calls from
// others with RPC_E_WRONG_THREAD.
class PageHost final
    : public plugins::com::ReferenceCounted<IOleClientSite, IOleInPlaceSite, IOleInPlaceFrame,
                                            IOleControlSite, PropertyPageSite> {
public:
    enum class Kind { kOutlook, kAnother };  // another one has no PropertyPageSite

    explicit PageHost(Kind kind = Kind::kOutlook) : kind_(kind) {}

    // Shows the page. S_OK, or the code of the call that failed. At the resolution that this thread
    // is told of.
    HRESULT Open(IUnknown* page);
    // Ends the page and lets it go.
    void Close();
    // Whether the page has left its place and this, as it has to by the end of Close.
    bool IsLeft();
    // Releases the page without ending it, and destroys its window.
    void Forget();
    // Destroys the window under the page.
    void DestroyFrame();

    HWND frame() const noexcept { return frame_; }
    // The page's window; null when it has none.
    HWND page() const;
    HWND Control(int id) const { return ::GetDlgItem(page(), id); }

    // Runs the thread's message loop until it is so; false when it is not within the time.
    bool RunUntil(const std::function<bool()>& condition,
                  std::chrono::milliseconds time = std::chrono::seconds(5));

    int status_changes = 0;                    // that the page has told of as it should
    int wrong_calls = 0;                       // that no page may make, or not in this order
    int cancelled = 0;                         // by the Escape key
    std::function<void()> on_status_change{};  // called as well
    std::function<void()> on_activate{};       // when the page says that it becomes active

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override;

    // IOleClientSite
    HRESULT STDMETHODCALLTYPE SaveObject() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMoniker(DWORD, DWORD, IMoniker** out) override;
    HRESULT STDMETHODCALLTYPE GetContainer(IOleContainer** out) override;
    HRESULT STDMETHODCALLTYPE ShowObject() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnShowWindow(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE RequestNewObjectLayout() override { return E_NOTIMPL; }
    // IOleWindow
    HRESULT STDMETHODCALLTYPE GetWindow(HWND* out) override;
    HRESULT STDMETHODCALLTYPE ContextSensitiveHelp(BOOL) override { return E_NOTIMPL; }
    // IOleInPlaceSite
    HRESULT STDMETHODCALLTYPE CanInPlaceActivate() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnInPlaceActivate() override;
    HRESULT STDMETHODCALLTYPE OnUIActivate() override {
        return Move(Stage::kInPlace, Stage::kWithInterface);
    }
    HRESULT STDMETHODCALLTYPE GetWindowContext(IOleInPlaceFrame** frame,
                                               IOleInPlaceUIWindow** document, RECT* place,
                                               RECT* clip, OLEINPLACEFRAMEINFO* info) override;
    HRESULT STDMETHODCALLTYPE Scroll(SIZE) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE OnUIDeactivate(BOOL) override {
        return Move(Stage::kWithInterface, Stage::kInPlace);
    }
    HRESULT STDMETHODCALLTYPE OnInPlaceDeactivate() override {
        return Move(Stage::kInPlace, Stage::kIdle);
    }
    HRESULT STDMETHODCALLTYPE DiscardUndoState() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DeactivateAndUndo() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE OnPosRectChange(const RECT*) override { return S_OK; }
    // IOleInPlaceFrame
    HRESULT STDMETHODCALLTYPE GetBorder(RECT*) override { return INPLACE_E_NOTOOLSPACE; }
    HRESULT STDMETHODCALLTYPE RequestBorderSpace(const BORDERWIDTHS*) override {
        return INPLACE_E_NOTOOLSPACE;
    }
    HRESULT STDMETHODCALLTYPE SetBorderSpace(const BORDERWIDTHS*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE SetActiveObject(IOleInPlaceActiveObject*, LPCOLESTR) override {
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE InsertMenus(HMENU, OLEMENUGROUPWIDTHS*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetMenu(HMENU, HOLEMENU, HWND) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RemoveMenus(HMENU) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetStatusText(LPCOLESTR) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE EnableModeless(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE TranslateAccelerator(MSG*, WORD) override { return S_FALSE; }
    // IOleControlSite
    HRESULT STDMETHODCALLTYPE OnControlInfoChanged() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE LockInPlaceActive(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetExtendedControl(IDispatch** out) override;
    HRESULT STDMETHODCALLTYPE TransformCoords(POINTL*, POINTF*, DWORD) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE TranslateAccelerator(MSG* message, DWORD modifiers) override;
    HRESULT STDMETHODCALLTYPE OnFocus(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE ShowPropertyFrame() override { return E_NOTIMPL; }
    // IDispatch and PropertyPageSite
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override { return *count = 0, S_OK; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return DISP_E_UNKNOWNNAME;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID id, LCID, WORD flags,
                                     DISPPARAMS* parameters, VARIANT*, EXCEPINFO*, UINT*) override;
    HRESULT STDMETHODCALLTYPE get_Application(IDispatch**) override { return BySlot(); }
    HRESULT STDMETHODCALLTYPE get_Class(LONG*) override { return BySlot(); }
    HRESULT STDMETHODCALLTYPE get_Session(IDispatch**) override { return BySlot(); }
    HRESULT STDMETHODCALLTYPE get_Parent(IDispatch**) override { return BySlot(); }
    HRESULT STDMETHODCALLTYPE OnStatusChange() override { return BySlot(); }

private:
    ~PageHost() override { DestroyFrame(); }
    static LRESULT CALLBACK FrameProcedure(HWND window, UINT message, WPARAM wide, LPARAM last);
    void CreateFrame(SIZE page);
    // How far the page is active.
    enum class Stage { kIdle, kInPlace, kWithInterface };
    HRESULT Move(Stage from, Stage to) noexcept;
    // Pages have no business with these members.
    HRESULT BySlot() noexcept { return ++wrong_calls, E_UNEXPECTED; }
    bool IsForeign() const noexcept { return ::GetCurrentThreadId() != thread_; }

    const Kind kind_;
    const DWORD thread_ = ::GetCurrentThreadId();
    Stage stage_ = Stage::kIdle;
    HWND frame_ = nullptr;
    HWND panel_ = nullptr;  // in which the page stands
    struct FontDeleter {
        void operator()(HFONT font) const noexcept { ::DeleteObject(font); }
    };
    std::unique_ptr<std::remove_pointer_t<HFONT>, FontDeleter> font_;
    vek::RefPtr<IOleObject> page_;
};

}  // namespace sandbox::outlook
