#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "options/page_environment.h"
#include "options/page_view.h"
#include "private_include/common/localization.h"
#include "private_include/common/settings_window.h"
#include "settings/product_settings_provider.h"

namespace plugins::mail_processing {

// What the settings' page shows and stores, apart from the dialog that shows it. It lives with the
// dialog, on its thread. Whatever fails is traced and goes no further; what an operation waits for
// the product has one deadline.
class AntivirusPage {
public:
    // References outlive the page.
    AntivirusPage(PageView& view, const PageEnvironment& environment);
    AntivirusPage(const AntivirusPage&) = delete;
    AntivirusPage& operator=(const AntivirusPage&) = delete;

    // To be called first. Without a localization service the dialog stays as its template has it.
    void Initialise() noexcept;

    // Reads the settings anew, and shows them when protection was switched on or off. Nothing else
    // that has changed is shown before that.
    void Refresh() noexcept;
    // The same, however short a time after the last: something is known to have changed.
    void RefreshAtOnce() noexcept;

    // Has the product keep what the check boxes show, unless a policy decides or has set them.
    void Apply() noexcept;

    // A button or a check box was clicked; false for any other control.
    bool OnClicked(PageControl control) noexcept;

private:
    void LoadIconOf(PageIcon icon, std::string_view resource);
    void Layout();
    void ShowSwitches();
    void SetText(PageControl control, std::string_view key);
    std::string Text(std::string_view key) const;
    bool IsRightToLeft() const noexcept;
    // Null when it cannot be had now.
    vek::RefPtr<product::ISettingsWindow> SettingsWindow() const noexcept;
    void OpenSettings() noexcept;

    PageView& view_;
    const PageEnvironment environment_;
    vek::RefPtr<product::ILocalization> texts_;
    std::optional<ProductSettingsProvider> settings_;  // once there are texts
    PageSettingsView shown_;                           // the last that was read
    // Whether the check boxes come from settings that the product has once given; until then they
    // show what nobody has set.
    bool boxes_are_known_ = false;
    // Whether the last layout took the box for mail being sent from the user, and whether it took
    // them all and showed a policy's switches.
    bool send_box_is_off_ = false;
    bool boxes_are_policys_ = false;
};

}  // namespace plugins::mail_processing
