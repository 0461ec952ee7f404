#include "sandbox/outlook/page_host/page_host.h"

#include <algorithm>

namespace sandbox::outlook {
namespace {

using plugins::mapi::iid::Ole;
constexpr IID kPropertyPageSite = Ole(0x0006307F);
constexpr DISPID kOnStatusChange = 0x2100;
constexpr wchar_t kFrameClass[] = L"StandInOptionsDialog";
constexpr int kMargin = 7, kButtonHeight = 24, kButtonWidth = 80;  // at 96 dots per inch
constexpr int kHimetricPerInch = 2540;

UINT ScreenResolution() {
    const HDC screen = ::GetDC(nullptr);
    const int found = ::GetDeviceCaps(screen, LOGPIXELSX);
    ::ReleaseDC(nullptr, screen);
    return static_cast<UINT>(found);
}

LONG Scaled(int length) { return ::MulDiv(length, static_cast<int>(ScreenResolution()), 96); }

}  // namespace

HRESULT PageHost::QueryInterface(REFIID id, void** out) {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (IsForeign()) return RPC_E_WRONG_THREAD;
    if (id == IID_IUnknown || id == IID_IOleClientSite) {
        *out = static_cast<IOleClientSite*>(this);
    } else if (id == IID_IOleWindow || id == IID_IOleInPlaceSite) {
        *out = static_cast<IOleInPlaceSite*>(this);
    } else if (id == IID_IOleInPlaceUIWindow || id == IID_IOleInPlaceFrame) {
        *out = static_cast<IOleInPlaceFrame*>(this);
    } else if (id == IID_IOleControlSite) {
        *out = static_cast<IOleControlSite*>(this);
    } else if ((id == IID_IDispatch || id == kPropertyPageSite) && kind_ == Kind::kOutlook) {
        *out = static_cast<PropertyPageSite*>(this);
    } else {
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

HRESULT PageHost::Open(IUnknown* page) {
    HRESULT code = page->QueryInterface(IID_IOleObject, page_.put_void());
    if (FAILED(code)) return code;
    DWORD status = 0;
    code = page_->GetMiscStatus(DVASPECT_CONTENT, &status);
    if (FAILED(code)) return code;
    code = page_->SetClientSite(this);
    if (FAILED(code)) return code;
    vek::RefPtr<IPersistStreamInit> stored;
    if (SUCCEEDED(page->QueryInterface(IID_IPersistStreamInit, stored.put_void()))) {
        code = stored->InitNew();
        if (FAILED(code)) return code;
    }
    SIZEL extent{};
    code = page_->GetExtent(DVASPECT_CONTENT, &extent);
    if (FAILED(code)) return code;
    const int resolution = static_cast<int>(ScreenResolution());
    CreateFrame({::MulDiv(extent.cx, resolution, kHimetricPerInch),
                 ::MulDiv(extent.cy, resolution, kHimetricPerInch)});
    RECT place{};
    ::GetClientRect(panel_, &place);
    return page_->DoVerb(OLEIVERB_INPLACEACTIVATE, nullptr, this, 0, panel_, &place);
}

void PageHost::CreateFrame(SIZE page) {
    const HINSTANCE module = ::GetModuleHandleW(nullptr);
    WNDCLASSEXW frame_class{};
    frame_class.cbSize = sizeof(frame_class);
    frame_class.lpfnWndProc = FrameProcedure;
    frame_class.cbWndExtra = DLGWINDOWEXTRA;
    frame_class.hInstance = module;
    frame_class.hCursor = ::LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));  // the arrow
    frame_class.hbrBackground = ::GetSysColorBrush(COLOR_3DFACE);
    frame_class.lpszClassName = kFrameClass;
    ::RegisterClassExW(&frame_class);  // fails when it is there already

    constexpr int kPoints = 8;
    LOGFONTW font{};
    font.lfHeight = -::MulDiv(kPoints, static_cast<int>(ScreenResolution()), 72);
    font.lfCharSet = DEFAULT_CHARSET;
    ::lstrcpynW(font.lfFaceName, L"MS Shell Dlg", LF_FACESIZE);
    font_.reset(::CreateFontIndirectW(&font));
    const LONG margin = Scaled(kMargin), height = Scaled(kButtonHeight);
    RECT whole{0, 0, page.cx + 2 * margin, page.cy + 3 * margin + height};
    constexpr DWORD kStyle = WS_POPUP | WS_CAPTION;
    ::AdjustWindowRect(&whole, kStyle, FALSE);
    frame_ = ::CreateWindowExW(WS_EX_CONTROLPARENT, kFrameClass, L"Options", kStyle, 40, 40,
                               whole.right - whole.left, whole.bottom - whole.top, nullptr, nullptr,
                               module, this);
    panel_ = ::CreateWindowExW(WS_EX_CONTROLPARENT, kFrameClass, L"", WS_CHILD | WS_VISIBLE, margin,
                               margin, page.cx, page.cy, frame_, nullptr, module, this);
    LONG left = page.cx + margin;
    for (const auto& [id, text] : {std::pair{IDYES, L"Apply"}, std::pair{IDOK, L"OK"}}) {
        left -= Scaled(kButtonWidth);
        const HWND button =
            ::CreateWindowExW(0, L"Button", text, WS_CHILD | WS_VISIBLE | WS_TABSTOP, left,
                              page.cy + 2 * margin, Scaled(kButtonWidth) - margin, height, frame_,
                              reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), module, nullptr);
        ::SendMessageW(button, WM_SETFONT, reinterpret_cast<WPARAM>(font_.get()), FALSE);
    }
    ::ShowWindow(frame_, SW_SHOW);
    ::SetForegroundWindow(frame_);
}

LRESULT CALLBACK PageHost::FrameProcedure(HWND window, UINT message, WPARAM wide, LPARAM last) {
    if (message == WM_NCCREATE)
        ::SetWindowLongPtrW(
            window, GWLP_USERDATA,
            reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(last)->lpCreateParams));
    auto* const host = reinterpret_cast<PageHost*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (host != nullptr && message == WM_COMMAND && LOWORD(wide) == IDCANCEL) ++host->cancelled;
    return ::DefDlgProcW(window, message, wide, last);
}

void PageHost::Close() {
    if (!page_) return;
    const auto page = std::exchange(page_, nullptr);
    page->Close(OLECLOSE_NOSAVE);
    page->SetClientSite(nullptr);
    DestroyFrame();
}

void PageHost::Forget() {
    page_.reset();
    DestroyFrame();
}

void PageHost::DestroyFrame() {
    if (frame_ != nullptr) ::DestroyWindow(std::exchange(frame_, nullptr));
    panel_ = nullptr;
}

HWND PageHost::page() const {
    vek::RefPtr<IOleWindow> window;
    HWND found = nullptr;
    if (page_) page_->QueryInterface(IID_IOleInPlaceObject, window.put_void());
    return window && window->GetWindow(&found) == S_OK ? found : nullptr;
}

bool PageHost::RunUntil(const std::function<bool()>& condition, std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
        for (MSG message; ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);) {
            if (frame_ != nullptr && ::IsDialogMessageW(frame_, &message)) continue;
            ::TranslateMessage(&message);
            ::DispatchMessageW(&message);
        }
    }
    return true;
}

bool PageHost::IsLeft() {
    AddRef();
    return Release() == 1 && stage_ == Stage::kIdle;
}

HRESULT PageHost::Move(Stage from, Stage to) noexcept {
    if (IsForeign()) return RPC_E_WRONG_THREAD;
    if (stage_ != from) return ++wrong_calls, E_UNEXPECTED;
    stage_ = to;
    return S_OK;
}

HRESULT PageHost::OnInPlaceActivate() {
    const HRESULT code = Move(Stage::kIdle, Stage::kInPlace);
    if (code == S_OK && on_activate) on_activate();
    return code;
}

HRESULT PageHost::GetMoniker(DWORD, DWORD, IMoniker** out) { return *out = nullptr, E_NOTIMPL; }
HRESULT PageHost::GetContainer(IOleContainer** out) { return *out = nullptr, E_NOINTERFACE; }
HRESULT PageHost::GetExtendedControl(IDispatch** out) { return *out = nullptr, E_NOTIMPL; }

HRESULT PageHost::GetWindow(HWND* out) {
    // Before the page is measured there is no window yet.
    *out = panel_ != nullptr ? panel_ : frame_;
    return *out != nullptr ? S_OK : E_FAIL;
}

HRESULT PageHost::GetWindowContext(IOleInPlaceFrame** frame, IOleInPlaceUIWindow** document,
                                   RECT* place, RECT* clip, OLEINPLACEFRAMEINFO* info) {
    *frame = vek::RefPtr<IOleInPlaceFrame>::Share(this).detach();
    *document = nullptr;
    // By the measure that the thread has at the moment.
    ::GetClientRect(panel_, place);
    *clip = *place;
    const UINT size = info->cb;
    *info = {};
    info->cb = size;
    info->hwndFrame = frame_;
    return S_OK;
}

HRESULT PageHost::TranslateAccelerator(MSG* message, DWORD) {
    return ::IsDialogMessageW(frame_, message) ? S_OK : S_FALSE;
}

HRESULT PageHost::Invoke(DISPID member, REFIID id, LCID, WORD flags, DISPPARAMS* parameters,
                         VARIANT*, EXCEPINFO*, UINT*) {
    if (IsForeign()) return RPC_E_WRONG_THREAD;
    if (id != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    if (member != kOnStatusChange || (flags & DISPATCH_METHOD) == 0) return DISP_E_MEMBERNOTFOUND;
    if (parameters == nullptr || parameters->cArgs != 0) return DISP_E_BADPARAMCOUNT;
    ++status_changes;
    if (on_status_change) on_status_change();
    return S_OK;
}

}  // namespace sandbox::outlook
