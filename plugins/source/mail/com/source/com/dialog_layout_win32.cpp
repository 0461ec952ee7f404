#include "com/dialog_layout_win32.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace plugins::com {
namespace {

constexpr int kPointsPerInch = 72;
constexpr int kFontPoints = 8;
constexpr int kUsualResolution = 96;
// At the usual resolution: the check mark with the gap behind it, and a push button's margins.
constexpr int kCheckMark = 20;
constexpr int kButtonMargins = 16;
constexpr int kIconSize = 32;

// A function of user32 that older systems lack.
template <class Function>
Function UserFunction(const char* name) noexcept {
    const HMODULE module = ::GetModuleHandleW(L"user32.dll");
    // By way of a general pointer to a function: the compiler trusts no other conversion.
    return module == nullptr ? nullptr
                             : reinterpret_cast<Function>(
                                   reinterpret_cast<void (*)()>(::GetProcAddress(module, name)));
}

class ScreenContext {
public:
    explicit ScreenContext(HFONT font) noexcept
        : context_(::GetDC(nullptr)), previous_(::SelectObject(context_, font)) {}
    ~ScreenContext() {
        ::SelectObject(context_, previous_);
        ::ReleaseDC(nullptr, context_);
    }
    ScreenContext(const ScreenContext&) = delete;
    ScreenContext& operator=(const ScreenContext&) = delete;

    HDC get() const noexcept { return context_; }

private:
    const HDC context_;
    const HGDIOBJ previous_;
};

std::wstring TextOf(HWND control) {
    std::wstring text(static_cast<std::size_t>(::GetWindowTextLengthW(control)) + 1, L'\0');
    const int length = ::GetWindowTextW(control, text.data(), static_cast<int>(text.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

enum class Kind { kOther, kText, kIcon, kBox, kButton };

Kind KindOf(HWND control) noexcept {
    wchar_t name[16]{};
    ::GetClassNameW(control, name, static_cast<int>(std::size(name)));
    const LONG_PTR style = ::GetWindowLongPtrW(control, GWL_STYLE);
    if (::lstrcmpiW(name, L"Static") == 0) {
        const LONG_PTR type = style & SS_TYPEMASK;
        return type == SS_LEFT ? Kind::kText : type == SS_ICON ? Kind::kIcon : Kind::kOther;
    }
    if (::lstrcmpiW(name, L"Button") != 0) return Kind::kOther;
    switch (style & BS_TYPEMASK) {
        case BS_AUTOCHECKBOX:
            return Kind::kBox;
        case BS_PUSHBUTTON:
        case BS_DEFPUSHBUTTON:
            return Kind::kButton;
        default:
            return Kind::kOther;
    }
}

}  // namespace

UINT ResolutionOf(HWND window) noexcept {
    const auto of_window = UserFunction<UINT(WINAPI*)(HWND)>("GetDpiForWindow");
    const UINT found = of_window != nullptr && window != nullptr ? of_window(window) : 0;
    if (found != 0) return found;
    const HDC context = ::GetDC(window);
    const int of_screen = ::GetDeviceCaps(context, LOGPIXELSY);
    ::ReleaseDC(window, context);
    return of_screen > 0 ? static_cast<UINT>(of_screen) : kUsualResolution;
}

AwarenessOf::AwarenessOf(HWND window) noexcept {
    const auto of_window = UserFunction<void*(WINAPI*)(HWND)>("GetWindowDpiAwarenessContext");
    const auto set = UserFunction<void*(WINAPI*)(void*)>("SetThreadDpiAwarenessContext");
    if (of_window == nullptr || set == nullptr) return;
    if (void* const context = of_window(window)) previous_ = set(context);
}

AwarenessOf::~AwarenessOf() {
    if (previous_ != nullptr)
        UserFunction<void*(WINAPI*)(void*)>("SetThreadDpiAwarenessContext")(previous_);
}

SIZE AsThisThreadMeasures(HWND window, SIZE pixels) noexcept {
    RECT here{}, own{};
    if (window == nullptr || !::GetWindowRect(window, &here)) return pixels;
    {
        const AwarenessOf aware(window);
        ::GetWindowRect(window, &own);
    }
    const auto convert = [](LONG length, LONG from, LONG to) {
        return from > 0 && to > 0 ? static_cast<LONG>(::MulDiv(length, to, from)) : length;
    };
    return {convert(pixels.cx, own.right - own.left, here.right - here.left),
            convert(pixels.cy, own.bottom - own.top, here.bottom - here.top)};
}

DialogFont::DialogFont(UINT resolution) noexcept {
    if (resolution == 0) return;
    font = UniqueFont(::CreateFontW(
        -::MulDiv(kFontPoints, static_cast<int>(resolution), kPointsPerInch), 0, 0, 0, FW_NORMAL,
        FALSE, FALSE, FALSE, DEFAULT_CHARSET, OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS,
        DEFAULT_QUALITY, DEFAULT_PITCH | FF_DONTCARE, L"MS Shell Dlg"));
    // As the system measures them for its dialogs.
    const ScreenContext screen(font.get());
    constexpr wchar_t kLetters[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    SIZE letters{};
    TEXTMETRICW metrics{};
    ::GetTextExtentPoint32W(screen.get(), kLetters, 52, &letters);
    ::GetTextMetricsW(screen.get(), &metrics);
    base = {(letters.cx / 26 + 1) / 2, metrics.tmHeight};
}

SIZE DialogFont::ToPixels(SIZE units) const noexcept {
    return {::MulDiv(units.cx, base.cx, 4), ::MulDiv(units.cy, base.cy, 8)};
}

SIZE DialogUnits(HINSTANCE module, WORD dialog) noexcept {
    // DLGTEMPLATEEX, which no header declares.
    struct Template {
        WORD version, signature;
        DWORD help_id, extended_style, style;
        WORD items;
        short x, y, width, height;
    };
    const HRSRC found =
        ::FindResourceW(module, MAKEINTRESOURCEW(dialog), MAKEINTRESOURCEW(5));  // RT_DIALOG
    if (found == nullptr || ::SizeofResource(module, found) < sizeof(Template)) return {};
    const auto* head = static_cast<const Template*>(::LockResource(::LoadResource(module, found)));
    if (head == nullptr || head->signature != 0xFFFF) return {};
    return {head->width, head->height};
}

DialogLayout::DialogLayout(HWND dialog) : dialog_(dialog) {
    // The dialog's own units are multiplied, as they may be no whole pixels.
    constexpr int kFactor = 100;
    RECT base{0, 0, 4 * kFactor, 8 * kFactor};
    ::MapDialogRect(dialog, &base);
    for (HWND control = ::GetWindow(dialog, GW_CHILD); control != nullptr;
         control = ::GetWindow(control, GW_HWNDNEXT)) {
        RECT place{};
        ::GetWindowRect(control, &place);
        ::MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&place), 2);
        const auto across = [&](LONG x) { return ::MulDiv(x, 4 * kFactor, base.right); };
        const auto down = [&](LONG y) { return ::MulDiv(y, 8 * kFactor, base.bottom); };
        places_.push_back(
            {control,
             {across(place.left), down(place.top), across(place.right), down(place.bottom)},
             place});
    }
    // A dialog of a thread that follows the resolution by itself would move them as well.
    const auto set = UserFunction<BOOL(WINAPI*)(HWND, int, int)>("SetDialogDpiChangeBehavior");
    constexpr int kDisableAll = 1;
    if (set != nullptr) set(dialog, kDisableAll, kDisableAll);
}

void DialogLayout::Scale(UINT resolution) {
    DialogFont font(resolution);
    for (const Place& place : places_)
        ::SendMessageW(place.control, WM_SETFONT, reinterpret_cast<WPARAM>(font.font.get()), FALSE);
    // The old one goes when nobody has it any more.
    font_ = std::move(font);
    resolution_ = resolution;
    Arrange();
}

void DialogLayout::Arrange() {
    if (!font_.font) return;
    for (Place& place : places_) {
        const SIZE first = font_.ToPixels({place.units.left, place.units.top});
        const SIZE end = font_.ToPixels({place.units.right, place.units.bottom});
        place.pixels = {first.cx, first.cy, end.cx, end.cy};
        if (KindOf(place.control) == Kind::kIcon) {
            const int size = ::MulDiv(kIconSize, static_cast<int>(resolution_), kUsualResolution);
            place.pixels.right = first.cx + size;
            place.pixels.bottom = first.cy + size;
        }
    }
    for (Place& mirrored : places_) AlignMirrored(mirrored);
    const ScreenContext screen(font_.font.get());
    for (Place& grown : places_) {
        grown.pixels.left = std::max(0L, grown.pixels.left - MissingWidth(screen.get(), grown));
        const LONG missing = MissingHeight(screen.get(), grown);
        if (missing <= 0) continue;
        const RECT was = grown.pixels;
        grown.pixels.bottom += missing;
        for (Place& other : places_) {
            if (other.control == grown.control) continue;
            RECT& place = other.pixels;
            if (place.top >= was.bottom)
                ::OffsetRect(&place, 0, missing);
            else if (place.top <= was.top && place.bottom >= was.bottom)
                place.bottom += missing;
        }
    }
    for (const auto& [control, units, place] : places_) {
        ::SetWindowPos(control, nullptr, place.left, place.top, place.right - place.left,
                       place.bottom - place.top, SWP_NOZORDER | SWP_NOACTIVATE);
    }
    ::InvalidateRect(dialog_, nullptr, TRUE);
}

void DialogLayout::AlignMirrored(Place& box) const {
    if (KindOf(box.control) != Kind::kBox ||
        (::GetWindowLongPtrW(box.control, GWL_EXSTYLE) & WS_EX_LAYOUTRTL) == 0)
        return;
    for (const Place& group : places_) {
        RECT common{};
        if (group.control == box.control || !::IntersectRect(&common, &group.units, &box.units) ||
            !::EqualRect(&common, &box.units))
            continue;
        box.pixels.right = group.pixels.right - (box.pixels.left - group.pixels.left);
    }
}

LONG DialogLayout::MissingHeight(HDC context, const Place& place) const {
    const Kind kind = KindOf(place.control);
    if (kind != Kind::kText && kind != Kind::kBox) return 0;
    const std::wstring text = TextOf(place.control);
    RECT room{0, 0, place.pixels.right - place.pixels.left, 0};
    if (kind == Kind::kBox)
        room.right -= ::MulDiv(kCheckMark, static_cast<int>(resolution_), kUsualResolution);
    const bool is_plain =
        (::GetWindowLongPtrW(place.control, GWL_STYLE) & SS_NOPREFIX) != 0 && kind == Kind::kText;
    ::DrawTextW(context, text.c_str(), static_cast<int>(text.size()), &room,
                static_cast<UINT>(DT_CALCRECT | DT_WORDBREAK | (is_plain ? DT_NOPREFIX : 0)));
    // The last line may stand on the edge, as the templates have it.
    const LONG has = place.pixels.bottom - place.pixels.top;
    return room.bottom > font_.base.cy && room.bottom > has ? room.bottom - has : 0;
}

LONG DialogLayout::MissingWidth(HDC context, const Place& place) const {
    if (KindOf(place.control) != Kind::kButton) return 0;
    const std::wstring text = TextOf(place.control);
    RECT room{};
    ::DrawTextW(context, text.c_str(), static_cast<int>(text.size()), &room,
                DT_CALCRECT | DT_SINGLELINE);
    const LONG wanted =
        room.right + ::MulDiv(kButtonMargins, static_cast<int>(resolution_), kUsualResolution);
    return std::max(0L, wanted - (place.pixels.right - place.pixels.left));
}

}  // namespace plugins::com
