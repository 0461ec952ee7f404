// Uses the settings window as a person does, from another process.
//
//   mlxo_window_user [press CONTROL | enter | await CONTROL TEXT | pause TIME | show | close]...
//
// Waits until a window shows what the product has answered, then does those in their order; a time
// is in ms. "show" prints how many such windows there are, and of the first, for each control, its
// number, whether it is the button of Enter, disabled or checked, and its text. Exit code 1: there
// is no window, no answer in it, or never the text.

#include <windows.h>

#include <charconv>
#include <cstdio>
#include <string>
#include <string_view>

#include "product/settings_window/resource_ids.h"
#include "vek/core/text.h"

namespace {

constexpr wchar_t kClass[] = L"" MLXO_WINDOW_CLASS;
constexpr DWORD kPatience = 20'000;  // ms
constexpr DWORD kServed = 5'000;     // ms, for one message

LRESULT Ask(HWND window, UINT message, WPARAM wide = 0, LPARAM last = 0) {
    DWORD_PTR answer = 0;
    ::SendMessageTimeoutW(window, message, wide, last, SMTO_ABORTIFHUNG, kServed, &answer);
    return static_cast<LRESULT>(answer);
}

std::string TextOf(HWND control) {
    wchar_t text[512] = L"";
    Ask(control, WM_GETTEXT, std::size(text), reinterpret_cast<LPARAM>(text));
    return vek::ToUtf8(std::u16string(text, text + std::wcslen(text)));
}

// The window, when it has been told what to show.
HWND AwaitWindow() {
    for (DWORD waited = 0; waited < kPatience; waited += 20) {
        const HWND window = ::FindWindowW(kClass, nullptr);
        if (window != nullptr && ::IsWindowVisible(window) != FALSE &&
            !TextOf(::GetDlgItem(window, MLXO_WINDOW_FINDS_TITLE)).empty())
            return window;
        ::Sleep(20);
    }
    return nullptr;
}

// A key goes to the control that has the keyboard.
void PressEnter(HWND window) {
    GUITHREADINFO thread{};
    thread.cbSize = sizeof thread;
    ::GetGUIThreadInfo(::GetWindowThreadProcessId(window, nullptr), &thread);
    const HWND focus = thread.hwndFocus != nullptr ? thread.hwndFocus : window;
    ::PostMessageW(focus, WM_KEYDOWN, VK_RETURN, 0x001C0001);
    ::PostMessageW(focus, WM_KEYUP, VK_RETURN, static_cast<LPARAM>(0xC01C0001));
}

void Print(HWND window) {
    int count = 0;
    for (HWND each = nullptr; (each = ::FindWindowExW(nullptr, each, kClass, nullptr)) != nullptr;)
        ++count;
    std::printf("windows: %d\n", count);
    const auto enter = LOWORD(Ask(window, DM_GETDEFID));
    for (HWND each = ::GetWindow(window, GW_CHILD); each != nullptr;
         each = ::GetWindow(each, GW_HWNDNEXT)) {
        const int id = ::GetDlgCtrlID(each);
        std::printf("%d%s%s%s: %s\n", id, id == enter ? " enter" : "",
                    ::IsWindowEnabled(each) != FALSE ? "" : " disabled",
                    Ask(each, BM_GETCHECK) == BST_CHECKED ? " checked" : "", TextOf(each).c_str());
    }
}

bool AwaitText(HWND control, std::string_view text) {
    for (DWORD waited = 0; waited < kPatience; waited += 20) {
        if (TextOf(control) == text) return true;
        ::Sleep(20);
    }
    return false;
}

int Number(std::string_view text) {
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

// `next` gives the next word of the command line, empty after the last.
template <class Next>
bool Do(HWND window, std::string_view verb, Next next) {
    if (verb == "enter") return PressEnter(window), true;
    if (verb == "show") return Print(window), true;
    if (verb == "close") return ::PostMessageW(window, WM_CLOSE, 0, 0) != FALSE;
    const int number = Number(next());
    if (verb == "pause") return ::Sleep(static_cast<DWORD>(number)), true;
    const HWND control = ::GetDlgItem(window, number);
    if (verb == "await") return AwaitText(control, next());
    return verb == "press" && (Ask(control, BM_CLICK), true);
}

}  // namespace

int main(int argc, char** argv) {
    const HWND window = AwaitWindow();
    if (window == nullptr) return 1;
    int word = 1;
    const auto next = [&] { return word < argc ? std::string_view(argv[word++]) : ""; };
    while (word < argc)
        if (!Do(window, next(), next)) return 1;
    return 0;
}
