#include "settings/product_settings_provider.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "vek/core/never_destroyed.h"
#include "vek/core/ref_ptr.h"
#include "vek/core/throw.h"
#include "vek/remoting/call_wait.h"
#include "vek/trace/traced_border.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;

constexpr std::uint32_t kRefreshInterval = 1000;  // milliseconds

bool Switch(const product::MailSettings& settings, std::uint8_t kind) noexcept {
    switch (kind) {
        case mail_event::kRead:
            return settings.checkOnRead != 0;
        case mail_event::kDelivery:
            return settings.checkOnDelivery != 0;
        case mail_event::kSend:
            return settings.checkOnSend != 0;
        default:
            return false;
    }
}

// A policy wins outright: none of the user's switches counts beside it.
const product::MailSettings& InForce(const product::MailPluginSettings& settings) noexcept {
    return settings.policySettings ? *settings.policySettings : settings.userSettings;
}

}  // namespace

std::optional<product::MailPluginSettings> SettingsMemory::Get() const noexcept {
    const std::lock_guard guard(lock_);
    return settings_;
}

void SettingsMemory::Keep(const product::MailPluginSettings& settings) noexcept {
    const std::lock_guard guard(lock_);
    settings_ = settings;
}

SettingsMemory& TheSettingsMemory() noexcept {
    // Never destroyed: threads may use it to the process's very end.
    static vek::NeverDestroyed<SettingsMemory> memory;
    return *memory;
}

ProductSettingsProvider::ProductSettingsProvider(loader::ServiceAccess& services,
                                                 vek::platform::Clock& clock,
                                                 trace::TracerPtr tracer,
                                                 SettingsMemory& memory) noexcept
    : services_(services), clock_(clock), tracer_(std::move(tracer)), memory_(memory) {}

void ProductSettingsProvider::Recall() noexcept {
    const auto last = memory_.Get();
    if (!last) return;
    const std::lock_guard guard(lock_);
    settings_ = *last;
    settings_.policySettings.reset();
    has_settings_ = true;
}

bool ProductSettingsProvider::IsNeedScan(std::uint8_t kind) {
    Refresh();
    const product::MailPluginSettings settings = Settings();
    if (!settings.isPluginEnabled) {
        trace::Write(tracer_, kDetail, "Plugin disabled. Scanning not needed");
        return false;
    }
    if (settings.checkIncomingOnly && kind == mail_event::kSend) {
        trace::Write(tracer_, kDetail, "Check incoming only setted. Scanning not need on send");
        return false;
    }
    const bool needed = Switch(InForce(settings), kind);
    trace::Write(
        tracer_, kDetail,
        settings.policySettings ? "IsNeedScan by policy: " : "IsNeedScan by user settings: ",
        needed ? 1 : 0);
    return needed;
}

void ProductSettingsProvider::GetSettingsForPage(PageSettingsView& view) noexcept {
    trace::TracedBorder(tracer_, [this] { Refresh(); });
    const std::lock_guard guard(lock_);
    const product::MailPluginSettings& settings = settings_;
    const product::MailSettings& switches = InForce(settings);
    // A refresh that was skipped says nothing of the product.
    view.enabled = failed_ <= answered_ && settings.isPluginEnabled;
    view.underPolicy = settings.policySettings.has_value();
    view.checkIncomingOnly = !view.underPolicy && settings.checkIncomingOnly;
    view.checkOnDelivery = switches.checkOnDelivery != 0;
    view.checkOnRead = switches.checkOnRead != 0;
    view.checkOnSend = switches.checkOnSend != 0;
}

void ProductSettingsProvider::SetUserSettings(const product::MailSettings& settings) {
    const vek::remoting::LimitedCalls limited;
    const auto service = services_.RequireService<product::IProductSettings>();
    vek::CheckResult(service->SetUserSettings(settings));
}

void ProductSettingsProvider::Refresh() {
    if (!TakeTurn()) {
        trace::Write(tracer_, kDetail, "Skip update for ConfigUpdateTime");
        return;
    }
    const std::uint64_t question = ++asked_;
    product::MailPluginSettings settings;
    try {
        const vek::remoting::LimitedCalls limited;
        const auto service = services_.RequireService<product::IProductSettings>();
        vek::CheckResult(service->GetSettings(settings));
    } catch (...) {
        const std::lock_guard guard(lock_);
        failed_ = std::max(failed_, question);
        throw;
    }
    const std::lock_guard guard(lock_);
    if (question < answered_) return;
    answered_ = question;
    settings_ = settings;
    has_settings_ = true;
    memory_.Keep(settings);
}

bool ProductSettingsProvider::HasSettings() const noexcept {
    const std::lock_guard guard(lock_);
    return has_settings_;
}

bool ProductSettingsProvider::IsPluginEnabled() const noexcept {
    const std::lock_guard guard(lock_);
    return settings_.isPluginEnabled;
}

bool ProductSettingsProvider::TakeTurn() noexcept {
    std::uint32_t last = last_refresh_;
    const std::uint32_t now = clock_.TickCount();
    // The sum wraps with the tick count: just before that does, it is past already.
    if (last + kRefreshInterval > now && !is_expired_) return false;
    is_expired_ = false;
    return last_refresh_.compare_exchange_strong(last, now);
}

product::MailPluginSettings ProductSettingsProvider::Settings() const noexcept {
    const std::lock_guard guard(lock_);
    return settings_;
}

}  // namespace plugins::mail_processing
