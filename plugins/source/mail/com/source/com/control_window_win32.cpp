// The control's dialog: activation in place, messages, the keyboard.

#include <utility>

#include "com/border.h"
#include "com/control_win32.h"
#include "com/query.h"
#include "vek/trace/traced_border.h"

// Since Windows 8.1, for child windows that know of resolutions each by itself.
#ifndef WM_DPICHANGED_AFTERPARENT
#define WM_DPICHANGED_AFTERPARENT 0x02E3
#endif

namespace plugins::com {
namespace {

using helpers::CheckHResult;

constexpr DWORD kKeyModShift = 1;  // KEYMOD_SHIFT, of IOleControlSite

bool IsKeyDown(int key) noexcept { return ::GetKeyState(key) < 0; }

}  // namespace

void Control::DestroyDialog() noexcept {
    if (window_ == nullptr) return;
    // From here on its messages reach nobody: a reference taken for one would end a second time.
    ::SetWindowLongPtrW(window_, DWLP_USER, 0);
    ::DestroyWindow(std::exchange(window_, nullptr));
    layout_.reset();
}

HWND Control::SiteWindow() const noexcept {
    HWND found = nullptr;
    vek::RefPtr<IOleWindow> window = place_;
    if (!window && site_) site_->QueryInterface(IID_IOleInPlaceSite, window.put_void());
    return window && SUCCEEDED(window->GetWindow(&found)) ? found : nullptr;
}

HRESULT Control::DoVerb(LONG verb, MSG*, IOleClientSite*, LONG, HWND, LPCRECT) noexcept {
    // The host may let the control go meanwhile.
    const auto hold = vek::RefPtr<IOleObject>::Share(this);
    return AtBorder([&]() -> HRESULT {
        switch (verb) {
            case OLEIVERB_INPLACEACTIVATE:
                ActivateInPlace();
                return S_OK;
            case OLEIVERB_PRIMARY:
            case OLEIVERB_SHOW:
            case OLEIVERB_UIACTIVATE:
                ActivateInPlace();
                ActivateInterface();
                if (window_ != nullptr && !HasFocus())
                    ::SetFocus(::GetNextDlgTabItem(window_, nullptr, FALSE));
                return S_OK;
            case OLEIVERB_HIDE:
                UIDeactivate();
                if (window_ != nullptr) ::ShowWindow(window_, SW_HIDE);
                return S_OK;
            default:
                return verb > 0 ? OLEOBJ_S_INVALIDVERB : E_NOTIMPL;
        }
    });
}

void Control::ActivateInPlace() {
    if (window_ != nullptr) {
        ::ShowWindow(window_, SW_SHOW);
        return;
    }
    InPlaceDeactivate();  // where the host has destroyed the window
    const auto site = Query<IOleInPlaceSite>(site_.get(), IID_IOleInPlaceSite);
    const HRESULT may = site->CanInPlaceActivate();
    CheckHResult(may);
    if (may != S_OK) helpers::ThrowHResult(E_FAIL);
    CheckHResult(site->OnInPlaceActivate());
    place_ = site;
    try {
        HWND parent = nullptr;
        CheckHResult(site->GetWindow(&parent));
        RECT place{}, clip{};
        OLEINPLACEFRAMEINFO frame{};
        frame.cb = sizeof(frame);
        CheckHResult(site->GetWindowContext(frame_.put(), document_.put(), &place, &clip, &frame));
        // The host may have taken it back in any of these calls.
        if (!site_ || place_ != site) helpers::ThrowHResult(E_UNEXPECTED);
        CreateDialogWindow(parent, place);
    } catch (...) {
        InPlaceDeactivate();
        throw;
    }
    if (const auto shown = site_) shown->ShowObject();
}

void Control::CreateDialogWindow(HWND parent, const RECT& place) {
    const HWND dialog = [&] {
        const AwarenessOf aware(parent);
        return ::CreateDialogParamW(class_.module, MAKEINTRESOURCEW(class_.dialog), parent,
                                    DialogProcedure, reinterpret_cast<LPARAM>(this));
    }();
    if (dialog == nullptr) helpers::ThrowLastError();
    // By the host's measure, as in SetObjectRects: its thread need not have the window's.
    ::SetWindowPos(dialog, nullptr, place.left, place.top, place.right - place.left,
                   place.bottom - place.top, SWP_NOZORDER | SWP_NOACTIVATE | SWP_SHOWWINDOW);
}

void Control::ActivateInterface() {
    if (window_ == nullptr || !place_ || std::exchange(has_interface_, true)) return;
    // Each call may end the activation.
    if (const auto place = place_) place->OnUIActivate();
    if (const auto frame = frame_) frame->SetActiveObject(this, nullptr);
    if (const auto document = document_) document->SetActiveObject(this, nullptr);
}

HRESULT Control::UIDeactivate() noexcept {
    if (!std::exchange(has_interface_, false)) return S_OK;
    const auto hold = vek::RefPtr<IOleObject>::Share(this);
    if (const auto document = document_) document->SetActiveObject(nullptr, nullptr);
    if (const auto frame = frame_) frame->SetActiveObject(nullptr, nullptr);
    if (const auto place = place_) place->OnUIDeactivate(FALSE);
    return S_OK;
}

HRESULT Control::InPlaceDeactivate() noexcept {
    if (!place_) return S_OK;
    const auto hold = vek::RefPtr<IOleObject>::Share(this);
    UIDeactivate();
    if (window_ != nullptr) ::DestroyWindow(window_);
    frame_.reset();
    document_.reset();
    if (const auto place = std::exchange(place_, nullptr)) place->OnInPlaceDeactivate();
    return S_OK;
}

HRESULT Control::SetObjectRects(LPCRECT place, LPCRECT) noexcept {
    if (place == nullptr) return E_POINTER;
    if (window_ != nullptr)
        ::SetWindowPos(window_, nullptr, place->left, place->top, place->right - place->left,
                       place->bottom - place->top, SWP_NOZORDER | SWP_NOACTIVATE);
    return S_OK;
}

HRESULT Control::GetWindow(HWND* out) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = window_;
    return window_ != nullptr ? S_OK : E_FAIL;
}

void Control::ScaleTo(HWND window) {
    if (!layout_) return;
    layout_->Scale(ResolutionOf(window));
    OnScaled();
}

void Control::ArrangeDialog() {
    if (layout_) layout_->Arrange();
}

INT_PTR CALLBACK Control::DialogProcedure(HWND dialog, UINT message, WPARAM wide,
                                          LPARAM last) noexcept {
    if (message == WM_INITDIALOG) {
        ::SetWindowLongPtrW(dialog, DWLP_USER, last);
        reinterpret_cast<Control*>(last)->window_ = dialog;
    }
    auto* const control = reinterpret_cast<Control*>(::GetWindowLongPtrW(dialog, DWLP_USER));
    if (control == nullptr) return FALSE;
    // The host may let the control go while it handles what it is told here.
    const auto hold = vek::RefPtr<IOleObject>::Share(control);
    bool handled = false;
    vek::trace::TracedBorder(control->tracer_,
                             [&] { control->HandleMessage(message, wide, last, handled); });
    return handled ? TRUE : FALSE;
}

void Control::HandleMessage(UINT message, WPARAM wide, LPARAM last, bool& handled) {
    switch (message) {
        case WM_INITDIALOG:
            // Not handled: the host keeps the focus.
            layout_.emplace(window_);
            ScaleTo(::GetParent(window_));
            OnInitialise();
            return;
        case WM_MOUSEACTIVATE:
            ActivateInterface();
            return;
        case WM_DPICHANGED_AFTERPARENT:
            ScaleTo(window_);
            return;
        case WM_DESTROY:
            OnGone();
            return;
        case WM_NCDESTROY:
            ::SetWindowLongPtrW(window_, DWLP_USER, 0);
            window_ = nullptr;
            layout_.reset();
            return;
        default:
            handled = OnMessage(message, wide, last);
    }
}

// The keyboard, for hosts that do not lead it through IsDialogMessage themselves

bool Control::HasFocus() const noexcept {
    const HWND focus = ::GetFocus();
    return window_ != nullptr && (focus == window_ || ::IsChild(window_, focus));
}

HRESULT Control::TranslateAccelerator(MSG* message) noexcept {
    if (message == nullptr) return E_POINTER;
    if (!HasFocus()) return S_FALSE;
    const auto hold = vek::RefPtr<IOleObject>::Share(this);
    if (message->message == WM_KEYDOWN) {
        switch (message->wParam) {
            case VK_TAB:
                return TranslateTab(*message);
            case VK_ESCAPE:
            case VK_RETURN:
            case VK_CANCEL:
            case VK_EXECUTE: {
                // They are the host dialog's own.
                vek::RefPtr<IOleControlSite> host;
                if (!site_ || FAILED(site_->QueryInterface(IID_IOleControlSite, host.put_void())))
                    return S_FALSE;
                return host->TranslateAccelerator(message, 0) == S_OK ? S_OK : S_FALSE;
            }
            default:
                break;
        }
    }
    return ::IsDialogMessageW(window_, message) ? S_OK : S_FALSE;
}

HRESULT Control::TranslateTab(MSG& message) {
    const bool backward = IsKeyDown(VK_SHIFT);
    if (IsKeyDown(VK_CONTROL)) return S_FALSE;
    const HWND focus = ::GetFocus();
    // The one after the last is the first: then the host has its turn.
    const HWND first = ::GetNextDlgTabItem(window_, nullptr, FALSE);
    const HWND next = ::GetNextDlgTabItem(window_, focus, backward ? TRUE : FALSE);
    const bool leaves = backward ? focus == first : next == first;
    vek::RefPtr<IOleControlSite> host;
    if (leaves && site_ && SUCCEEDED(site_->QueryInterface(IID_IOleControlSite, host.put_void())) &&
        host->TranslateAccelerator(&message, backward ? kKeyModShift : 0) == S_OK)
        return S_OK;
    return ::IsDialogMessageW(window_, &message) ? S_OK : S_FALSE;
}

}  // namespace plugins::com
