#include "product/settings_service.h"

#include <utility>

#include "product/state/strict_json.h"
#include "vek/core/border.h"
#include "vek/core/current_exception.h"

namespace reference_product {
namespace {

// Members keep their order, so that the file stays readable.
using Json = nlohmann::ordered_json;
using plugins::product::MailPluginSettings;
using plugins::product::MailSettings;

MailSettings ToSwitches(const nlohmann::json& value) {
    RequireMembers(value, {"checkOnDelivery", "checkOnRead", "checkOnSend"});
    return {RequireBool(value, "checkOnDelivery"), RequireBool(value, "checkOnRead"),
            RequireBool(value, "checkOnSend")};
}

MailPluginSettings Parse(std::string_view text) {
    const nlohmann::json value = nlohmann::json::parse(text);
    RequireMembers(value,
                   {"isPluginEnabled", "checkIncomingOnly", "policySettings", "userSettings"});
    MailPluginSettings settings;
    settings.isPluginEnabled = RequireBool(value, "isPluginEnabled");
    settings.checkIncomingOnly = RequireBool(value, "checkIncomingOnly");
    const nlohmann::json& policy = value.at("policySettings");
    if (!policy.is_null()) settings.policySettings = ToSwitches(policy);
    settings.userSettings = ToSwitches(value.at("userSettings"));
    return settings;
}

Json ToJson(const MailSettings& switches) {
    return {{"checkOnDelivery", switches.checkOnDelivery != 0},
            {"checkOnRead", switches.checkOnRead != 0},
            {"checkOnSend", switches.checkOnSend != 0}};
}

std::string Format(const MailPluginSettings& settings) {
    Json value = {{"isPluginEnabled", settings.isPluginEnabled},
                  {"checkIncomingOnly", settings.checkIncomingOnly},
                  {"policySettings", nullptr},
                  {"userSettings", ToJson(settings.userSettings)}};
    if (settings.policySettings) value["policySettings"] = ToJson(*settings.policySettings);
    return value.dump(1) + '\n';
}

}  // namespace

SettingsService::SettingsService(std::filesystem::path file, Log log)
    : log_(log), file_(std::move(file), Parse, std::move(log)) {}

vek::result_t SettingsService::GetSettings(MailPluginSettings& settings) noexcept {
    return vek::AtBorder([&] {
        std::shared_ptr<const MailPluginSettings> current;
        const vek::result_t code = file_.Get(current);
        if (current) settings = *current;
        return code;
    });
}

vek::result_t SettingsService::SetUserSettings(const MailSettings& settings) noexcept {
    try {
        const std::lock_guard guard(writing_);
        std::shared_ptr<const MailPluginSettings> current;
        const vek::result_t code = file_.Get(current);
        if (vek::Failed(code)) return code;
        MailPluginSettings changed = *current;
        changed.userSettings = settings;
        ReplaceTextFile(file_.path(), Format(changed));
        log_("settings changed by the user: " + ToJson(settings).dump());
        return vek::result::kOk;
    } catch (...) {
        log_("settings cannot be changed: " + vek::CurrentExceptionText());
        return vek::CurrentExceptionResult();
    }
}

}  // namespace reference_product
