#include "product/settings_window/window_content.h"

#include "vek/core/border.h"
#include "vek/core/text.h"
#include "vek/core/throw.h"
#include "vek/remoting/call_wait.h"

namespace reference_product {
namespace {

using plugins::product::IProductSettings;
using plugins::product::kDefaultResourceKind;
using plugins::product::MailSettings;

std::u16string LocalTime(vek::platform::filetime_t time, vek::platform::Clock& clock) {
    std::string text;
    try {
        vek::platform::AppendDateAndTime(text, vek::platform::ToCalendar(clock.ToLocal(time)));
    } catch (const std::exception&) {
        text.assign(1, '?');
    }
    return vek::ToUtf16(text);
}

const char* ReasonKey(const ProductStatus& status) {
    switch (status.protection) {
        case Protection::kOff:
            return "SettingsWindowSwitchedOff";
        case Protection::kOffByPolicy:
            return "SettingsWindowOffByPolicy";
        case Protection::kNoEngine:
            return "SettingsWindowNoEngine";
        default:
            return nullptr;
    }
}

void DescribeSwitches(const plugins::product::MailPluginSettings& settings,
                      const WindowTexts& texts, WindowContent& content) {
    const bool has_policy = settings.policySettings.has_value();
    const MailSettings& switches = has_policy ? *settings.policySettings : settings.userSettings;
    const bool sends = !settings.checkIncomingOnly;
    content.checked = {switches.checkOnDelivery != 0, switches.checkOnRead != 0,
                       sends && switches.checkOnSend != 0};
    content.enabled = {!has_policy, !has_policy, !has_policy && sends};
    content.user_sends = settings.userSettings.checkOnSend != 0;
    if (has_policy) content.switches_note = texts.Get("SettingsWindowPolicyNote");
}

}  // namespace

WindowSnapshot ReadSnapshot(plugins::loader::ServiceAccess& services) noexcept {
    WindowSnapshot snapshot;
    snapshot.code = vek::AtBorder([&] {
        const vek::remoting::LimitedCalls limited;
        const auto status = services.RequireService<IProductStatus>();
        vek::CheckResult(status->GetStatus(snapshot.status));
        vek::CheckResult(
            services.RequireService<IProductSettings>()->GetSettings(snapshot.settings));
        // Not for ever, whatever the other end says.
        constexpr std::uint32_t kMostFinds = 50;
        for (std::uint32_t i = 0; i != kMostFinds; ++i) {
            MailFind find;
            if (vek::Failed(status->GetFind(i, find))) break;  // after the last, or no more in time
            snapshot.finds.push_back(std::move(find));
        }
        return vek::result::kOk;
    });
    return snapshot;
}

vek::result_t StoreSwitches(plugins::loader::ServiceAccess& services,
                            const MailSettings& switches) noexcept {
    return vek::AtBorder([&] {
        const vek::remoting::LimitedCalls limited;
        return services.RequireService<IProductSettings>()->SetUserSettings(switches);
    });
}

std::u16string WindowTexts::Get(std::string_view key) const {
    std::string text;
    const vek::result_t code = texts_->GetText(kDefaultResourceKind, key, text);
    return vek::ToUtf16(vek::Succeeded(code) ? text : key);
}

std::u16string WindowTexts::Get(std::string_view key, std::string_view value) const {
    constexpr std::u16string_view kPlace = u"{0}";
    std::u16string text = Get(key);
    if (const auto at = text.find(kPlace); at != text.npos)
        text.replace(at, kPlace.size(), vek::ToUtf16(value));
    return text;
}

bool WindowTexts::IsRightToLeft() const noexcept {
    bool right_to_left = false;
    return vek::Succeeded(texts_->IsRightToLeft(right_to_left)) && right_to_left;
}

std::string WindowTexts::Resource(std::string_view relative_path) const {
    std::string path;
    const auto code = texts_->ResolveResource(kDefaultResourceKind, relative_path, path);
    return vek::Succeeded(code) ? path : std::string();
}

WindowContent Describe(const WindowSnapshot& snapshot, const WindowTexts& texts,
                       vek::platform::Clock& clock) {
    WindowContent content;
    const bool answers = vek::Succeeded(snapshot.code);
    const ProductStatus& status = snapshot.status;
    content.is_on = answers && status.protection == Protection::kOn;
    content.state = texts.Get(content.is_on ? "AntiVirusMailProtectionEnabled"
                                            : "AntiVirusMailProtectionDisabled");
    if (!answers) {
        content.reason = texts.Get("SettingsWindowNoService");
        content.finds_title = texts.Get("SettingsWindowFinds");
        return content;
    }
    if (const char* const reason = ReasonKey(status))
        content.reason = texts.Get(reason, status.trouble);
    content.engine = texts.Get("SettingsWindowEngine", status.engine);
    content.signatures = texts.Get("SettingsWindowSignatures", status.signatures);
    DescribeSwitches(snapshot.settings, texts, content);
    content.finds_title =
        texts.Get(snapshot.finds.empty() ? "SettingsWindowNoFinds" : "SettingsWindowFinds");
    for (const MailFind& find : snapshot.finds)
        content.finds.push_back({LocalTime(find.time, clock), vek::ToUtf16(find.subject),
                                 vek::ToUtf16(find.found), vek::ToUtf16(find.done)});
    return content;
}

}  // namespace reference_product
