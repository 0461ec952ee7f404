#pragma once

#include <atomic>
#include <cstdint>

#include "private_include/common/settings_window.h"
#include "product/product_log.h"
#include "vek/core/object.h"

namespace reference_product {

// Stands in for the settings window: it shows none and logs that it was opened. Any thread may call
// it.
class SettingsWindowService final : public vek::ObjectImpl<plugins::product::ISettingsWindow> {
public:
    explicit SettingsWindowService(Log log);

    vek::result_t Open(std::uint32_t process_id) noexcept override;

    std::uint32_t times_opened() const noexcept { return times_opened_; }

private:
    const Log log_;
    std::atomic<std::uint32_t> times_opened_{0};
};

}  // namespace reference_product
