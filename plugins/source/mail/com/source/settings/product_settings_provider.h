#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "common/loader/service_access.h"
#include "private_include/common/product_settings.h"
#include "vek/platform/clock.h"
#include "vek/platform/lock.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// The kinds of event at which a message may be checked; any other value means no check.
namespace mail_event {
inline constexpr std::uint8_t kRead = 0;      // it is opened or shown
inline constexpr std::uint8_t kDelivery = 1;  // it has arrived
inline constexpr std::uint8_t kSend = 2;      // it is being sent
}  // namespace mail_event

// The settings as the Options page shows them.
struct PageSettingsView {
    bool enabled = false;  // false as well since the product could not be asked
    bool underPolicy = false;
    bool checkIncomingOnly = false;  // false under a policy
    // The policy's switches when there is one, the user's otherwise.
    bool checkOnDelivery = false;
    bool checkOnRead = false;
    bool checkOnSend = false;

    bool operator==(const PageSettingsView&) const = default;
};

// Keeps the settings that the product gave last, to whichever provider. Any thread may call it.
class SettingsMemory {
public:
    // Nothing before the first.
    std::optional<product::MailPluginSettings> Get() const noexcept;
    void Keep(const product::MailPluginSettings& settings) noexcept;

private:
    mutable vek::platform::Lock lock_;
    std::optional<product::MailPluginSettings> settings_;
};

// The process's own.
SettingsMemory& TheSettingsMemory() noexcept;

// Keeps a copy of the product's settings, asks for them at most once a second, and decides by them.
// Operations may be called from any thread.
class ProductSettingsProvider {
public:
    // References outlive the provider. Makes no call.
    ProductSettingsProvider(loader::ServiceAccess& services, vek::platform::Clock& clock,
                            vek::trace::TracerPtr tracer,
                            SettingsMemory& memory = TheSettingsMemory()) noexcept;

    // Takes the memory's settings for the copy, their policy excepted: it may be over. To be called
    // before anything else.
    void Recall() noexcept;

    // Refreshes, and returns whether a message is to be checked at this mail_event. Raises
    // vek::CheckResultFailedException when the refresh fails.
    bool IsNeedScan(std::uint8_t kind);

    // Refreshes and fills the view, with the last good settings when that fails. Does not raise.
    void GetSettingsForPage(PageSettingsView& view) noexcept;

    // Has the product keep the user's switches. The copy stays as it was until the next refresh.
    // Raises vek::CheckResultFailedException.
    void SetUserSettings(const product::MailSettings& settings);

    // Asks the product, unless that was tried within the last second. Raises
    // vek::CheckResultFailedException.
    void Refresh();

    // Has the next refresh ask whenever it comes: something is known to have changed.
    void Expire() noexcept { is_expired_ = true; }

    // Returns whether the copy is the product's: it was recalled, or a refresh has succeeded.
    bool HasSettings() const noexcept;

    // Returns whether mail is ever checked, by the copy.
    bool IsPluginEnabled() const noexcept;

private:
    product::MailPluginSettings Settings() const noexcept;
    // Returns whether this caller is to ask the product: one of several at once.
    bool TakeTurn() noexcept;

    loader::ServiceAccess& services_;
    vek::platform::Clock& clock_;
    const vek::trace::TracerPtr tracer_;
    SettingsMemory& memory_;

    // In milliseconds of the tick count. It is set before the product is asked, so that a product
    // that is down is not asked more often either.
    std::atomic<std::uint32_t> last_refresh_{0};
    std::atomic<bool> is_expired_{false};
    // Questions are numbered, for a slow answer must not replace that to a later question.
    std::atomic<std::uint64_t> asked_{0};
    mutable vek::platform::RecursiveLock lock_;  // guards what follows
    std::uint64_t answered_ = 0;
    std::uint64_t failed_ = 0;  // the last question that has
    bool has_settings_ = false;
    product::MailPluginSettings settings_;
};

}  // namespace plugins::mail_processing
