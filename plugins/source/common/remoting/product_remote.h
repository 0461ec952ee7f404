#pragma once

// The remote interfaces of the product's other services.

#include "private_include/common/localization.h"
#include "private_include/common/product_settings.h"
#include "private_include/common/settings_window.h"
#include "vek/remoting/describe.h"

namespace vek::remoting {

VEK_REMOTE_INTERFACE(plugins::product::IProductSettings,
                     (GetSettings, method_attribute::kReadsOnly),
                     (SetUserSettings, method_attribute::kNone))

VEK_REMOTE_INTERFACE(plugins::product::ILocalization, (GetText, method_attribute::kReadsOnly),
                     (ResolveResource, method_attribute::kReadsOnly),
                     (IsRightToLeft, method_attribute::kReadsOnly))

VEK_REMOTE_INTERFACE(plugins::product::ISettingsWindow, (Open, method_attribute::kNone))

}  // namespace vek::remoting
