#include "product/settings_window_service.h"

#include <string>
#include <utility>

#include "vek/core/border.h"
#include "vek/core/current_exception.h"
#include "vek/core/throw.h"
#include "vek/platform/system.h"

namespace reference_product {

bool WindowOpenings::Begin(std::uint32_t session_id) {
    const std::lock_guard guard(lock_);
    return sessions_.insert(session_id).second;
}

void WindowOpenings::End(std::uint32_t session_id) noexcept {
    const std::lock_guard guard(lock_);
    sessions_.erase(session_id);
}

SettingsWindowService::SettingsWindowService(Log log, Opener opener, Caller caller,
                                             std::shared_ptr<WindowOpenings> openings)
    : log_(std::move(log)),
      opener_(std::move(opener)),
      caller_(std::move(caller)),
      openings_(openings ? std::move(openings) : std::make_shared<WindowOpenings>()) {}

// The caller is a thread that shows windows, and starting a program takes its time.
vek::result_t SettingsWindowService::Open(std::uint32_t) noexcept {
    return vek::AtBorder([&] {
        const std::string who = " for " + ToText(caller_);
        if (!openings_->Begin(caller_.session_id)) {
            log_("settings window is being opened already, and not again" + who);
            return vek::result::kNotReady;
        }
        // Goes with the thread, or here when there is none.
        const std::shared_ptr<void> opening(
            nullptr, [openings = openings_, session = caller_.session_id](void*) {
                openings->End(session);
            });
        const auto thread = vek::platform::StartCountedThread(
            vek::platform::TheSystem(), [log = log_, opener = opener_, who, opening] {
                try {
                    opener();
                    log("settings window opened" + who);
                } catch (...) {
                    log("settings window cannot be opened" + who + ": " +
                        vek::CurrentExceptionText());
                }
            });
        return thread ? vek::result::kOk : vek::result::kInsufficientResources;
    });
}

}  // namespace reference_product
