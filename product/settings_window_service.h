#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>

#include "private_include/common/settings_window.h"
#include "product/caller.h"
#include "product/product_log.h"
#include "vek/core/object.h"

namespace reference_product {

// The sessions in which a window is just being opened: in each one at a time, as an opening may
// never end. Any thread may call it.
class WindowOpenings {
public:
    // False when there is one.
    bool Begin(std::uint32_t session_id);
    void End(std::uint32_t session_id) noexcept;

private:
    std::mutex lock_;
    std::set<std::uint32_t> sessions_;
};

// Has the settings window shown to the caller's user. Any thread may call it.
class SettingsWindowService final : public vek::ObjectImpl<plugins::product::ISettingsWindow> {
public:
    // Shows it, and may take its time for that; raises when that fails. Any thread calls it.
    using Opener = std::function<void()>;

    SettingsWindowService(Log log, Opener opener, Caller caller = {},
                          std::shared_ptr<WindowOpenings> openings = nullptr);

    // Does not wait for the window: whether it could be shown is in the log. kNotReady while one is
    // being opened in the caller's session.
    vek::result_t Open(std::uint32_t process_id) noexcept override;

private:
    const Log log_;
    const Opener opener_;
    const Caller caller_;
    const std::shared_ptr<WindowOpenings> openings_;
};

}  // namespace reference_product
