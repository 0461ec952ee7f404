// The page that stands where the product cannot be reached.

#include "options/property_page_win32.h"

// The order matters: it needs windows.h.
#include <commctrl.h>

#include "options/resource_ids.h"

namespace plugins::mail_processing {
namespace {

constexpr wchar_t kTip[] = L"To protect email enable your security application.";

struct BitmapTraits {
    using value_t = HBITMAP;
    static value_t None() noexcept { return nullptr; }
    static void Close(value_t bitmap) noexcept { ::DeleteObject(bitmap); }
};
using UniqueBitmap = vek::platform::UniqueResource<BitmapTraits>;

class MemoryContext {
public:
    MemoryContext(HDC like, HBITMAP bitmap) noexcept
        : context_(::CreateCompatibleDC(like)), previous_(::SelectObject(context_, bitmap)) {}
    ~MemoryContext() {
        ::SelectObject(context_, previous_);
        ::DeleteDC(context_);
    }
    MemoryContext(const MemoryContext&) = delete;
    MemoryContext& operator=(const MemoryContext&) = delete;

    HDC get() const noexcept { return context_; }

private:
    const HDC context_;
    const HGDIOBJ previous_;
};

// A copy of the picture at another size.
UniqueBitmap Scaled(HBITMAP picture, SIZE size) noexcept {
    BITMAP from{};
    if (::GetObjectW(picture, sizeof(from), &from) == 0) return {};
    const HDC screen = ::GetDC(nullptr);
    UniqueBitmap scaled(::CreateCompatibleBitmap(screen, size.cx, size.cy));
    {
        const MemoryContext source(screen, picture), target(screen, scaled.get());
        ::SetStretchBltMode(target.get(), HALFTONE);
        ::SetBrushOrgEx(target.get(), 0, 0, nullptr);
        ::StretchBlt(target.get(), 0, 0, size.cx, size.cy, source.get(), 0, 0, from.bmWidth,
                     from.bmHeight, SRCCOPY);
    }
    ::ReleaseDC(nullptr, screen);
    return scaled;
}

class PageUnableToConnect final : public OptionsPage {
public:
    PageUnableToConnect(const PageEnvironment& environment, HINSTANCE module)
        : OptionsPage({kPageUnableToConnectClass, module, MLXO_PAGE_UNABLE_TO_CONNECT},
                      kPageUnableToConnectInterface, environment.tracer) {}

private:
    ~PageUnableToConnect() override {
        DestroyDialog();
        OnGone();
    }

    void OnInitialise() override {
        const INITCOMMONCONTROLSEX classes{sizeof(classes), ICC_BAR_CLASSES};
        ::InitCommonControlsEx(&classes);
        tip_ =
            ::CreateWindowExW(WS_EX_TOPMOST, L"tooltips_class32", nullptr,
                              WS_POPUP | TTS_NOPREFIX | TTS_ALWAYSTIP, CW_USEDEFAULT, CW_USEDEFAULT,
                              CW_USEDEFAULT, CW_USEDEFAULT, Picture(), nullptr, module(), nullptr);
        TTTOOLINFOW tool = Tool();
        wchar_t text[std::size(kTip)];
        std::copy(std::begin(kTip), std::end(kTip), text);
        tool.lpszText = text;
        ::SendMessageW(tip_, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
        ::SendMessageW(tip_, TTM_ACTIVATE, TRUE, 0);
    }

    // Before the tip is made as well.
    void OnScaled() override {
        if (!picture_)
            picture_ = UniqueBitmap(
                static_cast<HBITMAP>(::LoadImageW(module(), MAKEINTRESOURCEW(MLXO_PICTURE),
                                                  IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION)));
        RECT place{};
        ::GetClientRect(Picture(), &place);
        UniqueBitmap scaled = Scaled(picture_.get(), {place.right, place.bottom});
        const auto before = reinterpret_cast<HBITMAP>(::SendMessageW(
            Picture(), STM_SETIMAGE, IMAGE_BITMAP, reinterpret_cast<LPARAM>(scaled.get())));
        // The control gives up the one that it has loaded itself.
        if (before != shown_.get()) ::DeleteObject(before);
        // The old one goes when nobody shows it any more.
        shown_ = std::move(scaled);
        if (tip_ == nullptr) return;
        TTTOOLINFOW tool = Tool();
        ::SendMessageW(tip_, TTM_NEWTOOLRECTW, 0, reinterpret_cast<LPARAM>(&tool));
    }

    bool OnMessage(UINT, WPARAM, LPARAM) override { return false; }

    // Its owner is the host's window: it does not go with the dialog.
    void OnGone() noexcept override {
        if (tip_ != nullptr) ::DestroyWindow(std::exchange(tip_, nullptr));
    }

    HWND Picture() const noexcept { return ::GetDlgItem(window(), MLXO_PICTURE_CONTROL); }

    // The picture as the tip's tool, without its text.
    TTTOOLINFOW Tool() const noexcept {
        TTTOOLINFOW tool{};
        tool.cbSize = TTTOOLINFOW_V1_SIZE;  // version 5 of the controls takes no other
        tool.uFlags = TTF_SUBCLASS;
        tool.hwnd = window();
        tool.uId = 0;
        ::GetClientRect(Picture(), &tool.rect);
        ::MapWindowPoints(Picture(), window(), reinterpret_cast<POINT*>(&tool.rect), 2);
        return tool;
    }

    HWND tip_ = nullptr;
    UniqueBitmap picture_;
    // The dialog shows it to its last.
    UniqueBitmap shown_;
};

}  // namespace

HRESULT CreatePageUnableToConnect(const PageEnvironment& environment, HINSTANCE module, REFIID id,
                                  void** out) noexcept {
    return GivePage<PageUnableToConnect>(environment, module, id, out);
}

}  // namespace plugins::mail_processing
