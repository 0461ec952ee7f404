#include "product/settings_window_service.h"

#include <string>
#include <utility>

#include "vek/core/border.h"
#include "vek/core/current_exception.h"
#include "vek/core/throw.h"
#include "vek/platform/system.h"

namespace reference_product {

SettingsWindowService::SettingsWindowService(Log log, Opener opener)
    : log_(std::move(log)), opener_(std::move(opener)) {}

// The caller is a thread that shows windows, and starting a program takes its time.
vek::result_t SettingsWindowService::Open(std::uint32_t process_id) noexcept {
    return vek::AtBorder([&] {
        const auto thread = vek::platform::StartCountedThread(
            vek::platform::TheSystem(), [log = log_, opener = opener_, process_id] {
                const std::string who = " for process " + std::to_string(process_id);
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
