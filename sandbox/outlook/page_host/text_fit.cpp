// Looks whether the texts of each language fit where the options page and the settings window show
// them, with 15 hundredths of the width to spare, and whether each letter can be drawn:
//   mlxo_text_fit TEXTS PROGRAM
// TEXTS is the folder of texts, PROGRAM the settings window's, whose dialog is taken.
//   mlxo_text_fit --version
// Says what does not fit; the last line is "N passed, N failed", of languages.

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "com/dialog_layout_win32.h"
#include "mlxo_version.h"
#include "options/resource_ids.h"
#include "product/settings_window/resource_ids.h"
#include "product/text_folder.h"
#include "vek/platform/wide_win32.h"

// The order matters: it needs windows.h.
#include <commctrl.h>

namespace {

using reference_product::TextFolder;
using vek::platform::ToWide;

constexpr int kUsualResolution = 96;
constexpr LONG kTaken = 85;      // hundredths of its room that a text may take
constexpr LONG kCheckMark = 20;  // pixels of a box, with the gap behind it
constexpr LONG kGroupEdge = 9;   // pixels on either side of a group's title
// Hundredths of the list's width that the smallest column has, and pixels around its text.
constexpr LONG kColumn = 23, kColumnEdge = 12;

// What a control says at one time or another.
struct Shown {
    int control;
    std::vector<const char*> keys;
    const char* value = "";  // for {0}, or behind the text
    bool is_bold = false;
};

const std::vector<Shown> kPage = {
    {MLXO_TITLE, {"AntiVirusTitle"}},
    {MLXO_STATE, {"AntiVirusMailProtectionEnabled", "AntiVirusMailProtectionDisabled"}},
    {MLXO_HINT, {"AntiVirusDisableOrConfigure"}},
    {MLXO_HINT, {"AntiVirusRun"}, " Reference Mail Protection"},
    {MLXO_SETTINGS_BUTTON, {"AntiVirusSettingsButton"}},
    {MLXO_SETTINGS_GROUP, {"AntiVirusSettings"}},
    {MLXO_ON_DELIVERY, {"AntiVirusSettingsUponReceiving"}},
    {MLXO_ON_READ, {"AntiVirusSettingsWhenRead"}},
    {MLXO_ON_SEND, {"AntiVirusSettingsUponSending"}},
};

const std::vector<Shown> kWindow = {
    {MLXO_WINDOW_STATE,
     {"AntiVirusMailProtectionEnabled", "AntiVirusMailProtectionDisabled", "SettingsWindowAsking"},
     "",
     true},
    {MLXO_WINDOW_REASON,
     {"SettingsWindowNoService", "SettingsWindowSwitchedOff", "SettingsWindowOffByPolicy",
      "SettingsWindowNoEngine"},
     "clamd cannot be reached: tcp:scan1.example.com:3310: Connection refused; "
     "tcp:scan2.example.com:3310: no answer in time"},
    {MLXO_WINDOW_ENGINE, {"SettingsWindowEngine"}, "Rules 1.0.0, ClamAV 1.4.6"},
    {MLXO_WINDOW_SIGNATURES,
     {"SettingsWindowSignatures"},
     "cbf29ce4, 27450, Sat Nov 21 09:26:14 2026"},
    {MLXO_WINDOW_SWITCHES, {"AntiVirusSettings"}},
    {MLXO_WINDOW_ON_DELIVERY, {"AntiVirusSettingsUponReceiving"}},
    {MLXO_WINDOW_ON_READ, {"AntiVirusSettingsWhenRead"}},
    {MLXO_WINDOW_ON_SEND, {"AntiVirusSettingsUponSending"}},
    {MLXO_WINDOW_SWITCHES_NOTE, {"SettingsWindowPolicyNote", "SettingsWindowNotStored"}},
    {MLXO_WINDOW_FINDS_TITLE, {"SettingsWindowFinds", "SettingsWindowNoFinds"}},
    {MLXO_WINDOW_FINDS,
     {"SettingsWindowFindTime", "SettingsWindowFindMessage", "SettingsWindowFindWhat",
      "SettingsWindowFindDone"}},
    {MLXO_WINDOW_APPLY, {"SettingsWindowApply"}},
    {IDCANCEL, {"SettingsWindowClose"}},
};

// A context in memory to measure and draw in.
class Canvas {
public:
    static constexpr int kSize = 48;  // pixels either way
    using Pixels = std::vector<std::uint32_t>;

    Canvas() {
        BITMAPINFO form{};
        form.bmiHeader = {sizeof form.bmiHeader, kSize, -kSize, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
        ::SelectObject(context_, bitmap_ = ::CreateDIBSection(nullptr, &form, DIB_RGB_COLORS,
                                                              &bits_, nullptr, 0));
    }
    ~Canvas() {
        ::DeleteDC(context_);
        ::DeleteObject(bitmap_);
    }
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    void Use(HFONT font) { ::SelectObject(context_, font); }

    SIZE Measure(const std::wstring& text, UINT how, LONG width = 0) {
        RECT room{0, 0, width, 0};
        ::DrawTextW(context_, text.c_str(), static_cast<int>(text.size()), &room,
                    DT_CALCRECT | how);
        return {room.right, room.bottom};
    }
    LONG LineHeight() {
        TEXTMETRICW metrics{};
        ::GetTextMetricsW(context_, &metrics);
        return metrics.tmHeight;
    }
    Pixels Draw(const std::wstring& text) {
        RECT all{0, 0, kSize, kSize};
        ::FillRect(context_, &all, static_cast<HBRUSH>(::GetStockObject(WHITE_BRUSH)));
        ::ExtTextOutW(context_, 12, 12, 0, nullptr, text.c_str(), static_cast<UINT>(text.size()),
                      nullptr);
        ::GdiFlush();
        const auto* const pixels = static_cast<const std::uint32_t*>(bits_);
        return {pixels, pixels + kSize * kSize};
    }

private:
    const HDC context_ = ::CreateCompatibleDC(nullptr);
    HBITMAP bitmap_ = nullptr;
    void* bits_ = nullptr;
};

struct Dialog {
    Dialog(HINSTANCE module, int id, HWND parent, const std::vector<Shown>& what)
        : shown(what),
          window(::CreateDialogParamW(
              module, MAKEINTRESOURCEW(id), parent,
              [](HWND, UINT, WPARAM, LPARAM) -> INT_PTR { return FALSE; }, 0)) {}
    ~Dialog() { ::DestroyWindow(window); }
    Dialog(const Dialog&) = delete;
    Dialog& operator=(const Dialog&) = delete;

    SIZE SizeOf(int control) const {
        RECT place{};
        ::GetClientRect(::GetDlgItem(window, control), &place);
        return {place.right, place.bottom};
    }

    const std::vector<Shown>& shown;
    const HWND window;
    // Where the dialog gives its controls the room that they need, as the options page does.
    std::optional<plugins::com::DialogLayout> layout;
};

class Language {
public:
    Language(const std::string& tag, const TextFolder::Texts& texts) : tag_(tag), texts_(texts) {}

    // Whether each letter of a text can be drawn, and is not the picture of a missing one.
    void LookAtLetters(Canvas& canvas) {
        const Canvas::Pixels blank = canvas.Draw(L" "), box = canvas.Draw(L"\x0378");
        if (blank == box) Complain("a missing letter cannot be told");
        std::set<char16_t> seen;
        for (const auto& [key, text] : texts_.pairs) {
            for (const char16_t unit : vek::ToUtf16(text)) {
                // Blanks, ends of lines, and marks of direction.
                if (unit <= u' ' || unit == 0xA0 || (unit >= 0x2028 && unit <= 0x202F)) continue;
                if (!seen.insert(unit).second) continue;
                const Canvas::Pixels drawn = canvas.Draw(std::wstring(1, unit));
                if (drawn != blank && drawn != box) continue;
                char number[8];
                std::snprintf(number, sizeof number, "U+%04X", static_cast<unsigned>(unit));
                Complain(key + ": " + number + " cannot be drawn");
            }
        }
    }

    void LookAt(Dialog& dialog, Canvas& canvas) {
        for (const Shown& each : dialog.shown) {
            const SIZE before = dialog.SizeOf(each.control);
            for (const char* const key : each.keys) {
                const std::wstring text = TextOf(key, each.value);
                ::SetDlgItemTextW(dialog.window, each.control, text.c_str());
                if (dialog.layout) {
                    dialog.layout->Scale(kUsualResolution);
                    if (dialog.SizeOf(each.control).cy > before.cy)
                        Complain(std::string(key) + ": its control grows down");
                }
                LookAtText(dialog, each, key, text, canvas);
            }
        }
    }

    bool is_good() const noexcept { return is_good_; }

private:
    std::wstring TextOf(const char* key, std::string_view value) {
        const std::string* const found = texts_.Find(key);
        if (found == nullptr) return Complain(std::string(key) + ": there is none"), L"";
        std::string text = *found;
        const auto at = text.find("{0}");
        if (at == text.npos && value.starts_with(' ')) text += value;
        return ToWide(at == text.npos ? text : text.replace(at, 3, value));
    }

    void LookAtText(const Dialog& dialog, const Shown& each, const char* key,
                    const std::wstring& text, Canvas& canvas) {
        const HWND control = ::GetDlgItem(dialog.window, each.control);
        LOGFONTW font{};
        ::GetObjectW(reinterpret_cast<HFONT>(::SendMessageW(control, WM_GETFONT, 0, 0)),
                     sizeof font, &font);
        if (each.is_bold) font.lfWeight = FW_BOLD;
        const plugins::com::UniqueFont used(::CreateFontIndirectW(&font));
        canvas.Use(used.get());
        wchar_t kind[8]{};
        ::GetClassNameW(control, kind, 8);
        const LONG_PTR style = ::GetWindowLongPtrW(control, GWL_STYLE);
        const bool is_button = kind == std::wstring_view(L"Button");
        const bool is_plain = kind == std::wstring_view(L"Static") && (style & SS_NOPREFIX) != 0;
        const UINT how = is_plain ? DT_NOPREFIX : 0;
        const SIZE size = dialog.SizeOf(each.control);
        LONG room = size.cx;
        if (is_button && (style & BS_TYPEMASK) == BS_AUTOCHECKBOX) room -= kCheckMark;
        if (is_button && (style & BS_TYPEMASK) == BS_GROUPBOX) room -= 2 * kGroupEdge;
        if (each.control == MLXO_WINDOW_FINDS) room = room * kColumn / 100 - kColumnEdge;
        const LONG most = room * kTaken / 100;
        const LONG taken = canvas.Measure(text, how | DT_SINGLELINE).cx;
        const bool has_lines = !is_button && size.cy >= 2 * canvas.LineHeight() - 1;
        const SIZE wrapped = canvas.Measure(text, how | DT_WORDBREAK, most);
        if (taken <= most || (has_lines && wrapped.cx <= most && wrapped.cy <= size.cy)) return;
        Complain(std::string(key) + ": takes " + std::to_string(taken) + " of " +
                 std::to_string(room) + " pixels");
    }

    void Complain(const std::string& what) {
        std::printf("%s: %s\n", tag_.c_str(), what.c_str());
        is_good_ = false;
    }

    const std::string tag_;
    const TextFolder::Texts& texts_;
    bool is_good_ = true;
};

int Look(const std::filesystem::path& folder, const std::filesystem::path& program) {
    constexpr INITCOMMONCONTROLSEX kControls{sizeof kControls,
                                             ICC_STANDARD_CLASSES | ICC_LISTVIEW_CLASSES};
    ::InitCommonControlsEx(&kControls);
    // The window's template names a class of its own.
    WNDCLASSW window_class{};
    window_class.style = CS_GLOBALCLASS;  // the template is another module's
    window_class.lpfnWndProc = ::DefDlgProcW;
    window_class.cbWndExtra = DLGWINDOWEXTRA;
    window_class.hInstance = ::GetModuleHandleW(nullptr);
    window_class.lpszClassName = L"" MLXO_WINDOW_CLASS;
    ::RegisterClassW(&window_class);
    const HINSTANCE module = ::LoadLibraryExW(program.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    TextFolder texts(folder, [](std::string_view line) { std::puts(std::string(line).c_str()); });
    Canvas canvas;
    const plugins::com::DialogFont font(kUsualResolution);
    int passed = 0, failed = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        const std::string tag = file.path().stem().string();
        TextFolder::TextsPtr found;
        if (vek::Failed(texts.Get({tag}, found))) return 1;
        Language language(tag, *found);
        canvas.Use(font.font.get());
        language.LookAtLetters(canvas);
        // Anew for each language, as a page grows.
        Dialog window(module, MLXO_SETTINGS_WINDOW, nullptr, kWindow);
        Dialog page(::GetModuleHandleW(nullptr), MLXO_PAGE_ANTIVIRUS, window.window, kPage);
        if (window.window == nullptr || page.window == nullptr)
            return std::puts("there are no dialogs"), 1;
        page.layout.emplace(page.window);
        language.LookAt(page, canvas);
        language.LookAt(window, canvas);
        ++(language.is_good() ? passed : failed);
    }
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::string_view(argv[1]) == "--version") {
        std::puts("mlxo_text_fit " MLXO_VERSION);
        return 0;
    }
    if (argc != 3) {
        std::fputs("mlxo_text_fit TEXTS PROGRAM\n", stderr);
        return 2;
    }
    ::SetProcessDPIAware();
    return Look(argv[1], argv[2]);
}
