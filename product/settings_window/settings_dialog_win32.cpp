#include "product/settings_window/settings_dialog_win32.h"

// After windows.h, which it needs.
#include <commctrl.h>

#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

#include "product/settings_window/resource_ids.h"
#include "vek/platform/wide_win32.h"

namespace reference_product {
namespace {

// Its last parameter is a News, which the receiver owns.
constexpr UINT kNewsMessage = WM_APP + 1;

constexpr int kFirstBox = MLXO_WINDOW_ON_DELIVERY;
static_assert(MLXO_WINDOW_ON_SEND == kFirstBox + static_cast<int>(WindowContent::kSwitches) - 1);

// A column's text, and its share of the list's width in hundredths.
constexpr std::pair<const char*, int> kColumns[] = {{"SettingsWindowFindTime", 24},
                                                    {"SettingsWindowFindMessage", 30},
                                                    {"SettingsWindowFindWhat", 23},
                                                    {"SettingsWindowFindDone", 23}};
static_assert(std::size(kColumns) == std::tuple_size_v<WindowContent::Row>);

// Where a DLGTEMPLATEEX has the window's extended style, in DWORDs: after dlgVer, signature and
// helpID.
constexpr std::size_t kExtendedStyle = 2;

std::vector<DWORD> DialogTemplate(HINSTANCE program, int id) {
    const HRSRC found = ::FindResourceW(program, MAKEINTRESOURCEW(id), MAKEINTRESOURCEW(5));
    const HGLOBAL loaded = found != nullptr ? ::LoadResource(program, found) : nullptr;
    const void* const bytes = loaded != nullptr ? ::LockResource(loaded) : nullptr;
    if (bytes == nullptr) throw std::runtime_error("the settings window has no template");
    const DWORD size = ::SizeofResource(program, found);
    std::vector<DWORD> form((size + sizeof(DWORD) - 1) / sizeof(DWORD));
    std::memcpy(form.data(), bytes, size);
    return form;
}

constexpr wchar_t kClass[] = L"" MLXO_WINDOW_CLASS;

// A dialog's class under a name of its own.
void RegisterWindowClass(HINSTANCE program) {
    WNDCLASSEXW dialogs{};
    dialogs.cbSize = sizeof dialogs;
    if (::GetClassInfoExW(nullptr, L"#32770", &dialogs) == FALSE) return;  // no window then
    dialogs.style &= ~static_cast<UINT>(CS_GLOBALCLASS);
    dialogs.hInstance = program;
    dialogs.lpszClassName = kClass;
    ::RegisterClassExW(&dialogs);
}

std::wstring Wide(const std::u16string& text) { return {text.begin(), text.end()}; }

// As much of a text as a control of several lines shows, with an ellipsis where it is cut. The
// style for that, SS_ENDELLIPSIS, would leave the control one line.
std::wstring Shortened(HWND control, std::wstring text) {
    RECT place{};
    ::GetClientRect(control, &place);
    const HDC context = ::GetDC(control);
    const HGDIOBJ before =
        ::SelectObject(context, reinterpret_cast<HFONT>(::SendMessageW(control, WM_GETFONT, 0, 0)));
    const auto fits = [&](const std::wstring& part) {
        RECT needed{0, 0, place.right, 0};
        ::DrawTextW(context, part.c_str(), static_cast<int>(part.size()), &needed,
                    DT_CALCRECT | DT_WORDBREAK | DT_NOPREFIX);
        return needed.right <= place.right && needed.bottom <= place.bottom;
    };
    if (!fits(text)) {
        std::size_t shown = 0;
        for (std::size_t beyond = text.size(); shown + 1 < beyond;) {
            const std::size_t middle = (shown + beyond) / 2;
            (fits(text.substr(0, middle) + L'\x2026') ? shown : beyond) = middle;
        }
        text = text.substr(0, shown) + L'\x2026';
    }
    ::SelectObject(context, before);
    ::ReleaseDC(control, context);
    return text;
}

}  // namespace

SettingsDialog::SettingsDialog(HINSTANCE program, plugins::loader::ServiceAccess& services,
                               WindowTexts texts)
    : program_(program), texts_(std::move(texts)) {
    constexpr INITCOMMONCONTROLSEX kControls{sizeof kControls,
                                             ICC_STANDARD_CLASSES | ICC_LISTVIEW_CLASSES};
    ::InitCommonControlsEx(&kControls);
    RegisterWindowClass(program_);
    std::vector<DWORD> form = DialogTemplate(program_, MLXO_SETTINGS_WINDOW);
    // Its controls are mirrored with a window that is from the beginning.
    if (texts_.IsRightToLeft()) form.at(kExtendedStyle) |= WS_EX_LAYOUTRTL;
    ::CreateDialogIndirectParamW(program_, reinterpret_cast<const DLGTEMPLATE*>(form.data()),
                                 nullptr, Serve, reinterpret_cast<LPARAM>(this));
    if (window_ == nullptr) throw std::runtime_error("the settings window cannot be made");
    // The window is there as long as the reader.
    reader_ = std::make_unique<StatusReader>(
        services, [window = window_](WindowSnapshot snapshot, std::optional<vek::result_t> stored) {
            auto news = std::make_unique<News>(std::move(snapshot), stored);
            if (::PostMessageW(window, kNewsMessage, 0, reinterpret_cast<LPARAM>(news.get())) !=
                FALSE)
                static_cast<void>(news.release());
        });
    BringToFront();
}

SettingsDialog::~SettingsDialog() {
    ::ShowWindow(window_, SW_HIDE);  // the reader may wait for the product
    reader_.reset();
    // What it had posted by then.
    for (MSG message; ::PeekMessageW(&message, window_, kNewsMessage, kNewsMessage, PM_REMOVE);)
        delete reinterpret_cast<News*>(message.lParam);
    if (window_ != nullptr) ::DestroyWindow(window_);
    if (bold_ != nullptr) ::DeleteObject(bold_);
    for (const auto& icon : icons_) {
        if (icon.big != nullptr) ::DestroyIcon(icon.big);
        if (icon.small != nullptr) ::DestroyIcon(icon.small);
    }
}

bool SettingsDialog::BringAnothersToFront() noexcept {
    const HWND window = ::FindWindowW(kClass, nullptr);
    if (window == nullptr || ::IsWindowVisible(window) == FALSE) return false;
    // That process may not serve its messages.
    if (::IsIconic(window) != FALSE) ::ShowWindowAsync(window, SW_RESTORE);
    ::SetForegroundWindow(window);
    return true;
}

void SettingsDialog::BringToFront() noexcept {
    ::ShowWindow(window_, ::IsIconic(window_) != FALSE ? SW_RESTORE : SW_SHOW);
    ::SetForegroundWindow(window_);
}

INT_PTR CALLBACK SettingsDialog::Serve(HWND window, UINT message, WPARAM wide, LPARAM last) {
    if (message == WM_INITDIALOG) {
        auto* const made = reinterpret_cast<SettingsDialog*>(last);
        ::SetWindowLongPtrW(window, DWLP_USER, last);
        made->window_ = window;
    }
    auto* const dialog = reinterpret_cast<SettingsDialog*>(::GetWindowLongPtrW(window, DWLP_USER));
    if (dialog == nullptr) return FALSE;
    try {
        return dialog->OnMessage(message, wide, last);
    } catch (const std::exception&) {  // what is not shown now is shown with the next news
        return FALSE;
    }
}

INT_PTR SettingsDialog::OnMessage(UINT message, WPARAM wide, LPARAM last) {
    switch (message) {
        case WM_INITDIALOG:
            Initialise();
            return TRUE;
        case kNewsMessage:
            Take(std::unique_ptr<News>(reinterpret_cast<News*>(last)));
            return TRUE;
        case WM_COMMAND:
            OnCommand(LOWORD(wide), HIWORD(wide));
            return TRUE;
        case WM_CLOSE:
            ::PostQuitMessage(0);
            return TRUE;
        default:
            return FALSE;
    }
}

void SettingsDialog::Initialise() {
    for (int i = 0; i != 2; ++i) {
        const std::string path =
            texts_.Resource(i == 0 ? "mail\\disabled_main1.ico" : "mail\\main1.ico");
        const auto load = [file = vek::platform::ToWide(path)](int width, int height) {
            return static_cast<HICON>(::LoadImageW(nullptr, file.c_str(), IMAGE_ICON,
                                                   ::GetSystemMetrics(width),
                                                   ::GetSystemMetrics(height), LR_LOADFROMFILE));
        };
        icons_[i] = {load(SM_CXICON, SM_CYICON), load(SM_CXSMICON, SM_CYSMICON)};
    }
    LOGFONTW font{};
    const auto plain = reinterpret_cast<HFONT>(::SendMessageW(window_, WM_GETFONT, 0, 0));
    if (::GetObjectW(plain, sizeof font, &font) != 0) {
        font.lfWeight = FW_BOLD;
        bold_ = ::CreateFontIndirectW(&font);
        ::SendMessageW(Item(MLXO_WINDOW_STATE), WM_SETFONT, reinterpret_cast<WPARAM>(bold_), FALSE);
    }
    ::SetWindowTextW(window_, Wide(texts_.Get("AntiVirusPluginName")).c_str());
    SetText(MLXO_WINDOW_SWITCHES, texts_.Get("AntiVirusSettings"));
    SetText(MLXO_WINDOW_ON_DELIVERY, texts_.Get("AntiVirusSettingsUponReceiving"));
    SetText(MLXO_WINDOW_ON_READ, texts_.Get("AntiVirusSettingsWhenRead"));
    SetText(MLXO_WINDOW_ON_SEND, texts_.Get("AntiVirusSettingsUponSending"));
    SetText(MLXO_WINDOW_APPLY, texts_.Get("SettingsWindowApply"));
    SetText(IDCANCEL, texts_.Get("SettingsWindowClose"));
    SetText(MLXO_WINDOW_STATE, texts_.Get("SettingsWindowAsking"));
    for (int box = kFirstBox; box <= MLXO_WINDOW_ON_SEND; ++box) ::EnableWindow(Item(box), FALSE);
    AllowApply(false);
    AddColumns();
}

void SettingsDialog::AddColumns() {
    const HWND list = Item(MLXO_WINDOW_FINDS);
    ::SendMessageW(list, LVM_SETEXTENDEDLISTVIEWSTYLE, 0,
                   LVS_EX_FULLROWSELECT | LVS_EX_INFOTIP | LVS_EX_LABELTIP);
    RECT place{};
    ::GetClientRect(list, &place);
    const int width = static_cast<int>(place.right) - ::GetSystemMetrics(SM_CXVSCROLL);
    for (const auto& [key, share] : kColumns) {
        std::wstring text = Wide(texts_.Get(key));
        LVCOLUMNW column{};
        column.mask = LVCF_TEXT | LVCF_WIDTH;
        column.pszText = text.data();
        column.cx = width * share / 100;
        ::SendMessageW(list, LVM_INSERTCOLUMNW, static_cast<WPARAM>(&share - &kColumns[0].second),
                       reinterpret_cast<LPARAM>(&column));
    }
}

void SettingsDialog::Take(std::unique_ptr<News> news) {
    WindowContent content = Describe(news->snapshot, texts_, vek::platform::TheClock());
    if (news->stored) not_stored_ = vek::Failed(*news->stored);
    const bool has_policy = !content.switches_note.empty();
    if (has_policy) not_stored_ = false;
    if (has_policy)
        edited_ = false;
    else if (news->stored && !not_stored_)
        edited_ = edited_since_;
    if (not_stored_) content.switches_note = texts_.Get("SettingsWindowNotStored");
    Show(content);
}

void SettingsDialog::Show(const WindowContent& content) {
    if (!edited_) {
        for (std::size_t i = 0; i != WindowContent::kSwitches; ++i)
            ::CheckDlgButton(window_, kFirstBox + static_cast<int>(i),
                             content.checked[i] ? BST_CHECKED : BST_UNCHECKED);
    }
    bool can_store = false;
    for (std::size_t i = 0; i != WindowContent::kSwitches; ++i) {
        Enable(kFirstBox + static_cast<int>(i), content.enabled[i]);
        can_store = can_store || content.enabled[i];
    }
    AllowApply(edited_ && can_store);
    // Nothing flickers, and no selection is lost, where nothing is new.
    if (shown_ == content) return;
    const auto& [big, small] = icons_[content.is_on ? 1 : 0];
    ::SendMessageW(Item(MLXO_WINDOW_ICON), STM_SETICON, reinterpret_cast<WPARAM>(big), 0);
    ::SendMessageW(window_, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(big));
    ::SendMessageW(window_, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(small));
    SetText(MLXO_WINDOW_STATE, content.state);
    const HWND reason = Item(MLXO_WINDOW_REASON);
    ::SetWindowTextW(reason, Shortened(reason, Wide(content.reason)).c_str());
    SetText(MLXO_WINDOW_ENGINE, content.engine);
    SetText(MLXO_WINDOW_SIGNATURES, content.signatures);
    SetText(MLXO_WINDOW_SWITCHES_NOTE, content.switches_note);
    SetText(MLXO_WINDOW_FINDS_TITLE, content.finds_title);
    if (!shown_ || shown_->finds != content.finds) ShowFinds(content.finds);
    shown_ = content;
}

void SettingsDialog::ShowFinds(const std::vector<WindowContent::Row>& rows) {
    const HWND list = Item(MLXO_WINDOW_FINDS);
    ::SendMessageW(list, LVM_DELETEALLITEMS, 0, 0);
    for (std::size_t row = 0; row != rows.size(); ++row) {
        for (std::size_t column = 0; column != rows[row].size(); ++column) {
            std::wstring text = Wide(rows[row][column]);
            LVITEMW item{};
            item.mask = LVIF_TEXT;
            item.iItem = static_cast<int>(row);
            item.iSubItem = static_cast<int>(column);
            item.pszText = text.data();
            ::SendMessageW(list, column == 0 ? LVM_INSERTITEMW : LVM_SETITEMW, 0,
                           reinterpret_cast<LPARAM>(&item));
        }
    }
}

void SettingsDialog::OnCommand(int control, int code) {
    if (control == IDCANCEL) {
        ::PostQuitMessage(0);
    } else if (control >= kFirstBox && control <= MLXO_WINDOW_ON_SEND && code == BN_CLICKED) {
        edited_ = edited_since_ = true;
        DropFailure();
        AllowApply(true);
    } else if (control == MLXO_WINDOW_APPLY && code == BN_CLICKED && shown_) {
        DropFailure();
        AllowApply(false);
        edited_since_ = false;
        const auto is_checked = [this](int box) {
            return ::IsDlgButtonChecked(window_, box) == BST_CHECKED;
        };
        // A box that is taken from the user keeps what he had chosen.
        const bool sends = shown_->enabled[2];
        reader_->Store({is_checked(MLXO_WINDOW_ON_DELIVERY), is_checked(MLXO_WINDOW_ON_READ),
                        sends ? is_checked(MLXO_WINDOW_ON_SEND) : shown_->user_sends});
    }
}

// The keyboard must not be left with a control that no longer takes it.
void SettingsDialog::Enable(int control, bool enabled) {
    if (!enabled && ::GetFocus() == Item(control))
        ::SendMessageW(window_, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(Item(IDCANCEL)), TRUE);
    ::EnableWindow(Item(control), enabled ? TRUE : FALSE);
}

// Enter applies what there is to apply, and else closes.
void SettingsDialog::AllowApply(bool allowed) {
    Enable(MLXO_WINDOW_APPLY, allowed);
    const int wanted = allowed ? MLXO_WINDOW_APPLY : IDCANCEL;
    const int before = allowed ? IDCANCEL : MLXO_WINDOW_APPLY;
    if (LOWORD(::SendMessageW(window_, DM_GETDEFID, 0, 0)) == wanted) return;
    ::SendMessageW(window_, DM_SETDEFID, static_cast<WPARAM>(wanted), 0);
    // Who is drawn so: the system draws the one with the keyboard so, too.
    ::SendMessageW(Item(before), BM_SETSTYLE, BS_PUSHBUTTON, TRUE);
    ::SendMessageW(Item(wanted), BM_SETSTYLE, BS_DEFPUSHBUTTON, TRUE);
}

void SettingsDialog::DropFailure() {
    if (!std::exchange(not_stored_, false) || !shown_) return;
    shown_->switches_note.clear();
    SetText(MLXO_WINDOW_SWITCHES_NOTE, {});
}

void SettingsDialog::SetText(int control, const std::u16string& text) {
    ::SetWindowTextW(Item(control), Wide(text).c_str());
}

}  // namespace reference_product
