#include "product/settings_window_service.h"

#include <string>
#include <utility>

#include "vek/core/border.h"

namespace reference_product {

SettingsWindowService::SettingsWindowService(Log log) : log_(std::move(log)) {}

vek::result_t SettingsWindowService::Open(std::uint32_t process_id) noexcept {
    const std::uint32_t times = ++times_opened_;
    return vek::AtBorder([&] {
        log_("settings window opened for process " + std::to_string(process_id) + ", time " +
             std::to_string(times));
    });
}

}  // namespace reference_product
