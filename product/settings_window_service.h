#pragma once

#include <functional>

#include "private_include/common/settings_window.h"
#include "product/product_log.h"
#include "vek/core/object.h"

namespace reference_product {

// Has the settings window shown to the caller's user. Any thread may call it.
class SettingsWindowService final : public vek::ObjectImpl<plugins::product::ISettingsWindow> {
public:
    // Shows it, and may take its time for that; raises when that fails. Any thread calls it.
    using Opener = std::function<void()>;

    SettingsWindowService(Log log, Opener opener);

    // Does not wait for the window: whether it could be shown is in the log.
    vek::result_t Open(std::uint32_t process_id) noexcept override;

private:
    const Log log_;
    const Opener opener_;
};

}  // namespace reference_product
