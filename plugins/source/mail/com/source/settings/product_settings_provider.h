#pragma once

#include <atomic>
#include <cstdint>

#include "common/loader/service_access.h"
#include "private_include/common/product_settings.h"
#include "vek/platform/clock.h"
#include "vek/platform/lock.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// What happens to a message when the question is asked whether it is to be checked. Any other
// value means no check.
namespace mail_event {
inline constexpr std::uint8_t kRead = 0;      // it is opened or shown
inline constexpr std::uint8_t kDelivery = 1;  // it has arrived
inline constexpr std::uint8_t kSend = 2;      // it is being sent
}  // namespace mail_event

// The settings as the Options page shows them.
struct PageSettingsView {
    bool enabled = false;  // false as well when the product could not be asked
    bool underPolicy = false;
    bool checkIncomingOnly = false;  // false under a policy
    // The policy's switches when there is one, the user's otherwise.
    bool checkOnDelivery = false;
    bool checkOnRead = false;
    bool checkOnSend = false;

    bool operator==(const PageSettingsView&) const = default;
};

// The plug-in's copy of the settings that the product keeps, asked for at most once a second.
// Any thread.
class ProductSettingsProvider {
public:
    // All of it outlives the provider. No call is made.
    ProductSettingsProvider(loader::ServiceAccess& services, vek::platform::Clock& clock,
                            vek::trace::TracerPtr tracer) noexcept;

    // Whether a message is to be checked at this mail_event. Refreshes first; raises
    // vek::CheckResultFailedException when that fails.
    bool IsNeedScan(std::uint8_t kind);

    // Refreshes; the last good settings are given when that fails. Does not raise.
    void GetSettingsForPage(PageSettingsView& view) noexcept;

    // Has the product keep the user's switches. The copy is as it was until the next refresh.
    // Raises vek::CheckResultFailedException.
    void SetUserSettings(const product::MailSettings& settings);

    // Asks the product, unless that was tried within the last second. Raises
    // vek::CheckResultFailedException.
    void Refresh();

    // Of the copy: whether mail is ever checked.
    bool IsPluginEnabled() const noexcept;

private:
    product::MailPluginSettings Settings() const noexcept;
    // Whether this caller is to ask the product; of several at once one is.
    bool TakeTurn() noexcept;

    loader::ServiceAccess& services_;
    vek::platform::Clock& clock_;
    const vek::trace::TracerPtr tracer_;

    // In milliseconds of the tick count. It is set before the product is asked, so that a product
    // that is down is not asked more often either.
    std::atomic<std::uint32_t> last_refresh_{0};
    // Questions are numbered, for a slow answer must not replace that to a later question.
    std::atomic<std::uint64_t> asked_{0};
    mutable vek::platform::RecursiveLock lock_;  // guards what follows
    std::uint64_t answered_ = 0;
    product::MailPluginSettings settings_;
};

}  // namespace plugins::mail_processing
