#include "product/status/settings_window_start.h"
#include "vek/core/throw.h"

namespace reference_product {

std::shared_ptr<void> PrepareSettingsWindows(WindowRoad) { return nullptr; }

void StartSettingsWindow(WindowRoad, std::uint32_t) {
    vek::ThrowResult(vek::result::kNotSupported);
}

}  // namespace reference_product
