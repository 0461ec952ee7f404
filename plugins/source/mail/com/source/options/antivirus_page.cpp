#include "options/antivirus_page.h"

#include "common/product_info/product_library.h"
#include "vek/core/text.h"
#include "vek/core/throw.h"
#include "vek/platform/thread.h"
#include "vek/remoting/call_wait.h"
#include "vek/trace/traced_border.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;
using vek::remoting::LimitedCalls;

constexpr std::chrono::milliseconds kRefreshPeriod{1000};

// The controls that are there while protection is on.
constexpr PageControl kSettings[] = {PageControl::kSettingsButton, PageControl::kSettingsGroup,
                                     PageControl::kOnDelivery, PageControl::kOnRead,
                                     PageControl::kOnSend};

// Those that a language from right to left mirrors.
constexpr PageControl kMirrored[] = {PageControl::kSettingsButton, PageControl::kSettingsGroup,
                                     PageControl::kOnDelivery,     PageControl::kOnRead,
                                     PageControl::kOnSend,         PageControl::kTitle};

}  // namespace

AntivirusPage::AntivirusPage(PageView& view, const PageEnvironment& environment)
    : view_(view), environment_(environment) {}

void AntivirusPage::Initialise() noexcept {
    trace::TracedBorder(environment_.tracer, [this] {
        const LimitedCalls limited;
        void* service = nullptr;
        if (vek::Failed(
                environment_.services.GetService(product::ILocalization::kInterfaceId, &service)))
            return;
        texts_ = vek::RefPtr<product::ILocalization>::Adopt(
            static_cast<product::ILocalization*>(service));
        settings_.emplace(environment_.services, environment_.clock, environment_.tracer,
                          environment_.settings);
        settings_->Recall();
        LoadIconOf(PageIcon::kEnabled, "mail\\main1.ico");
        LoadIconOf(PageIcon::kDisabled, "mail\\disabled_main1.ico");
        settings_->GetSettingsForPage(shown_);
        if (IsRightToLeft()) {
            for (const PageControl control : kMirrored) view_.MirrorRightToLeft(control);
        }
        Layout();
        view_.StartTimer(kRefreshPeriod);
    });
}

void AntivirusPage::Refresh() noexcept {
    if (!settings_) return;
    trace::TracedBorder(environment_.tracer, [this] {
        const LimitedCalls limited;
        const bool was_enabled = shown_.enabled;
        settings_->GetSettingsForPage(shown_);
        if (shown_.enabled == was_enabled) return;
        trace::Write(environment_.tracer, kDetail, "Update settings window");
        Layout();
    });
}

void AntivirusPage::RefreshAtOnce() noexcept {
    if (settings_) settings_->Expire();
    Refresh();
}

void AntivirusPage::Apply() noexcept {
    if (!settings_) return;
    // A policy's switches do not become the user's when it ends and nobody has seen that.
    if (shown_.underPolicy || boxes_are_policys_) {
        trace::Write(environment_.tracer, kDetail,
                     "Not need update user settings on apply under policy");
        return;
    }
    if (!boxes_are_known_) {
        trace::Write(environment_.tracer, kDetail,
                     "No settings are known yet, nothing is stored on apply");
        return;
    }
    trace::TracedBorder(environment_.tracer, [this] {
        // A box that was taken from the user says nothing, even if the settings have changed since.
        const bool keeps_on_send = send_box_is_off_ || shown_.checkIncomingOnly;
        settings_->SetUserSettings({.checkOnDelivery = view_.IsChecked(PageControl::kOnDelivery),
                                    .checkOnRead = view_.IsChecked(PageControl::kOnRead),
                                    .checkOnSend = keeps_on_send
                                                       ? shown_.checkOnSend
                                                       : view_.IsChecked(PageControl::kOnSend)});
    });
}

bool AntivirusPage::OnClicked(PageControl control) noexcept {
    switch (control) {
        case PageControl::kOnDelivery:
        case PageControl::kOnRead:
        case PageControl::kOnSend:
            trace::TracedBorder(environment_.tracer, [this] { view_.MarkDirty(); });
            return true;
        case PageControl::kSettingsButton:
            OpenSettings();
            return true;
        default:
            return false;
    }
}

void AntivirusPage::LoadIconOf(PageIcon icon, std::string_view resource) {
    std::string path;
    if (vek::Succeeded(texts_->ResolveResource(product::kDefaultResourceKind, resource, path)))
        view_.LoadIconFile(icon, path);
}

void AntivirusPage::Layout() {
    const bool on = shown_.enabled;
    for (const PageControl control : kSettings) view_.Show(control, on);
    SetText(PageControl::kState,
            on ? "AntiVirusMailProtectionEnabled" : "AntiVirusMailProtectionDisabled");
    view_.ShowIcon(on ? PageIcon::kEnabled : PageIcon::kDisabled);

    const bool free = !shown_.underPolicy;
    view_.Enable(PageControl::kOnDelivery, free);
    view_.Enable(PageControl::kOnRead, free);
    view_.Enable(PageControl::kOnSend, free && !shown_.checkIncomingOnly);
    send_box_is_off_ = shown_.checkIncomingOnly;
    boxes_are_policys_ = shown_.underPolicy;
    // Otherwise the boxes keep what the user sees in them.
    if (shown_.underPolicy || !boxes_are_known_) ShowSwitches();

    if (on) {
        SetText(PageControl::kHint, "AntiVirusDisableOrConfigure");
    } else {
        view_.SetText(PageControl::kHint, vek::ToUtf16(Text("AntiVirusRun") + ' ') +
                                              product_info::ProductName(environment_.registry));
    }
    view_.Enable(PageControl::kSettingsButton, SettingsWindow() != nullptr);
    SetText(PageControl::kSettingsButton, "AntiVirusSettingsButton");
    SetText(PageControl::kSettingsGroup, "AntiVirusSettings");
    SetText(PageControl::kOnDelivery, "AntiVirusSettingsUponReceiving");
    SetText(PageControl::kOnRead, "AntiVirusSettingsWhenRead");
    SetText(PageControl::kOnSend, "AntiVirusSettingsUponSending");
    SetText(PageControl::kTitle, "AntiVirusTitle");
    view_.Arrange();
}

void AntivirusPage::ShowSwitches() {
    view_.Check(PageControl::kOnDelivery, shown_.checkOnDelivery);
    view_.Check(PageControl::kOnRead, shown_.checkOnRead);
    view_.Check(PageControl::kOnSend, shown_.checkOnSend && !shown_.checkIncomingOnly);
    boxes_are_known_ = settings_->HasSettings();
}

void AntivirusPage::SetText(PageControl control, std::string_view key) {
    view_.SetText(control, vek::ToUtf16(Text(key)));
}

std::string AntivirusPage::Text(std::string_view key) const {
    std::string text;
    const vek::result_t result = texts_->GetText(product::kDefaultResourceKind, key, text);
    return vek::Succeeded(result) ? text : std::string(key);
}

bool AntivirusPage::IsRightToLeft() const noexcept {
    bool right_to_left = false;
    return vek::Succeeded(texts_->IsRightToLeft(right_to_left)) && right_to_left;
}

vek::RefPtr<product::ISettingsWindow> AntivirusPage::SettingsWindow() const noexcept {
    vek::RefPtr<product::ISettingsWindow> window;
    trace::TracedBorder(environment_.tracer, [&] {
        window = environment_.services.RequireService<product::ISettingsWindow>();
    });
    return window;
}

void AntivirusPage::OpenSettings() noexcept {
    const LimitedCalls limited;
    const auto window = SettingsWindow();
    if (!window) return;
    trace::TracedBorder(environment_.tracer,
                        [&] { vek::CheckResult(window->Open(vek::platform::CurrentProcessId())); });
}

}  // namespace plugins::mail_processing
