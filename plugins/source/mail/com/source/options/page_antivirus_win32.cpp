// The settings' page as a control.

#include <mutex>
#include <utility>

#include "options/antivirus_page.h"
#include "options/property_page_win32.h"
#include "vek/core/object.h"
#include "vek/platform/lock.h"
#include "vek/platform/wide_win32.h"

namespace plugins::mail_processing {
namespace {

constexpr UINT_PTR kRefreshTimer = 1;
constexpr UINT kRefreshMessage = WM_APP + 1;
constexpr int kIconSize = 32;  // pixels

struct IconTraits {
    using value_t = HICON;
    static value_t None() noexcept { return nullptr; }
    static void Close(value_t icon) noexcept { ::DestroyIcon(icon); }
};
using UniqueIcon = vek::platform::UniqueResource<IconTraits>;

// Has a page's dialog refresh itself when the policy may have changed; on any thread, also after
// the dialog.
class RefreshRequests final : public vek::ObjectImpl<ISettingsListener> {
public:
    void Attach(HWND dialog) noexcept {
        const std::lock_guard guard(lock_);
        dialog_ = dialog;
        is_posted_ = false;
    }
    // One message stands for all requests until it has come.
    void OnSettingsChanged() noexcept override {
        const std::lock_guard guard(lock_);
        if (dialog_ != nullptr && !is_posted_)
            is_posted_ = ::PostMessageW(dialog_, kRefreshMessage, 0, 0) != FALSE;
    }
    void HasCome() noexcept {
        const std::lock_guard guard(lock_);
        is_posted_ = false;
    }

private:
    vek::platform::Lock lock_;
    HWND dialog_ = nullptr;
    bool is_posted_ = false;
};

class PageAntivirus final : public OptionsPage, private PageView {
public:
    PageAntivirus(const PageEnvironment& environment, HINSTANCE module)
        : OptionsPage({kPageAntivirusClass, module, MLXO_PAGE_ANTIVIRUS}, kPageAntivirusInterface,
                      environment.tracer),
          environment_(environment) {}

    HRESULT STDMETHODCALLTYPE Apply() noexcept override {
        // Elsewhere than in Outlook nobody's settings are changed.
        if (const auto page = page_; page && PageSite()) page->Apply();
        return S_OK;
    }

private:
    ~PageAntivirus() override {
        DestroyDialog();
        LeavePolicy();
    }

    void OnInitialise() override {
        // Those of a dialog before this one.
        enabled_icon_ = {};
        disabled_icon_ = {};
        const auto page =
            std::make_shared<AntivirusPage>(static_cast<PageView&>(*this), environment_);
        page_ = page;
        page->Initialise();
        requests_->Attach(window());
        // Without it the timer has the page look all the same.
        if (environment_.policy) environment_.policy->Subscribe(requests_.get());
    }

    bool OnMessage(UINT message, WPARAM wide, LPARAM last) override {
        // The host may close the page while it is told of a click.
        const auto page = page_;
        if (!page) return false;
        switch (message) {
            case WM_TIMER:
                if (wide != kRefreshTimer) return false;
                page->Refresh();
                return true;
            case kRefreshMessage:
                requests_->HasCome();
                page->RefreshAtOnce();
                return true;
            case WM_COMMAND:
                // The product's window comes from another process, before Outlook's.
                if (LOWORD(wide) == MLXO_SETTINGS_BUTTON) ::AllowSetForegroundWindow(ASFW_ANY);
                return HIWORD(wide) == BN_CLICKED && last != 0 &&
                       page->OnClicked(static_cast<PageControl>(LOWORD(wide)));
            default:
                return false;
        }
    }

    void OnGone() noexcept override {
        LeavePolicy();
        page_.reset();
    }

    void LeavePolicy() noexcept {
        requests_->Attach(nullptr);
        if (environment_.policy) environment_.policy->Unsubscribe(requests_.get());
    }

    // PageView

    void Show(PageControl control, bool shown) override {
        if (!shown) GiveUpFocus(control);
        ::ShowWindow(Item(control), shown ? SW_SHOWNA : SW_HIDE);
    }
    void Enable(PageControl control, bool enabled) override {
        if (!enabled) GiveUpFocus(control);
        ::EnableWindow(Item(control), enabled ? TRUE : FALSE);
    }
    void SetText(PageControl control, std::u16string_view text) override {
        ::SetWindowTextW(Item(control), std::wstring(text.begin(), text.end()).c_str());
    }
    void Check(PageControl box, bool checked) override {
        ::SendMessageW(Item(box), BM_SETCHECK, checked ? BST_CHECKED : BST_UNCHECKED, 0);
    }
    bool IsChecked(PageControl box) override {
        return ::SendMessageW(Item(box), BM_GETCHECK, 0, 0) == BST_CHECKED;
    }
    void LoadIconFile(PageIcon icon, const std::string& path) override {
        IconOf(icon) = UniqueIcon(
            static_cast<HICON>(::LoadImageW(nullptr, vek::platform::ToWide(path).c_str(),
                                            IMAGE_ICON, kIconSize, kIconSize, LR_LOADFROMFILE)));
    }
    void ShowIcon(PageIcon icon) override {
        ::SendMessageW(Item(PageControl::kIcon), STM_SETICON,
                       reinterpret_cast<WPARAM>(IconOf(icon).get()), 0);
    }
    void MirrorRightToLeft(PageControl control) override {
        const HWND item = Item(control);
        ::SetWindowLongPtrW(item, GWL_EXSTYLE,
                            ::GetWindowLongPtrW(item, GWL_EXSTYLE) | WS_EX_LAYOUTRTL);
        ::InvalidateRect(item, nullptr, TRUE);
    }
    void Arrange() override { ArrangeDialog(); }
    void StartTimer(std::chrono::milliseconds period) override {
        // Without a dialog it would be the thread's, for ever.
        if (window() == nullptr) return;
        if (::SetTimer(window(), kRefreshTimer, static_cast<UINT>(period.count()), nullptr) == 0)
            helpers::ThrowLastError();
    }
    void MarkDirty() override { MakeDirty(); }

    HWND Item(PageControl control) const noexcept {
        return ::GetDlgItem(window(), static_cast<int>(control));
    }
    UniqueIcon& IconOf(PageIcon icon) noexcept {
        return icon == PageIcon::kEnabled ? enabled_icon_ : disabled_icon_;
    }
    // The keyboard must not be left with a control that no longer takes it.
    void GiveUpFocus(PageControl control) const noexcept {
        if (::GetFocus() == Item(control))
            ::SendMessageW(::GetAncestor(window(), GA_ROOT), WM_NEXTDLGCTL, 0, FALSE);
    }

    const PageEnvironment environment_;
    const vek::RefPtr<RefreshRequests> requests_ = vek::MakeObject<RefreshRequests>();
    std::shared_ptr<AntivirusPage> page_;  // while there is a dialog
    // The dialog shows them to its last.
    UniqueIcon enabled_icon_;
    UniqueIcon disabled_icon_;
};

}  // namespace

HRESULT CreatePageAntivirus(const PageEnvironment& environment, HINSTANCE module, REFIID id,
                            void** out) noexcept {
    return GivePage<PageAntivirus>(environment, module, id, out);
}

}  // namespace plugins::mail_processing
