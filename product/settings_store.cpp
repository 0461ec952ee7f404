#include "product/settings_store.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "product/state/strict_json.h"
#include "product/text_form.h"
#include "vek/core/current_exception.h"

namespace reference_product {
namespace {

// Members keep their order, so that the file stays readable.
using Json = nlohmann::ordered_json;
using plugins::product::MailPluginSettings;
using plugins::product::MailSettings;

constexpr std::size_t kLongestSid = 184;

MailSettings ToSwitches(const nlohmann::json& value) {
    RequireMembers(value, {"checkOnDelivery", "checkOnRead", "checkOnSend"});
    return {RequireBool(value, "checkOnDelivery"), RequireBool(value, "checkOnRead"),
            RequireBool(value, "checkOnSend")};
}

Json ToJson(const MailSettings& switches) {
    return {{"checkOnDelivery", switches.checkOnDelivery != 0},
            {"checkOnRead", switches.checkOnRead != 0},
            {"checkOnSend", switches.checkOnSend != 0}};
}

MailSettings ParseSwitches(std::string_view text) {
    return ToSwitches(nlohmann::json::parse(text));
}

// A number that need not be there.
void TakeNumber(const nlohmann::json& object, const char* name, std::uint32_t least,
                std::uint32_t most, std::uint32_t& number) {
    if (!object.contains(name)) return;
    const auto given = RequireNumber<std::uint32_t>(object, name);
    if (given < least || given > most)
        throw std::runtime_error(std::string(name) + " is a number out of its range");
    number = given;
}

void TakeEngine(const nlohmann::json& object, EngineSettings& engine) {
    if (object.contains("engine")) object.at("engine").get_to(engine.name);
    if (!IsEngine(engine.name)) throw std::runtime_error("engine is neither rules nor clamd");
    std::vector<std::string> texts;
    if (object.contains("engineAddresses")) object.at("engineAddresses").get_to(texts);
    if (texts.size() > kMostEngineAddresses)
        throw std::runtime_error("engineAddresses are too many");
    for (const std::string& text : texts) {
        std::optional<EngineAddress> address = ParseEngineAddress(text);
        if (!address)
            throw std::runtime_error("engineAddresses holds no address of an engine: " + text);
        engine.addresses.push_back(*std::move(address));
    }
    TakeNumber(object, "engineSecondsPerPart", 1, 60, engine.seconds_per_part);
    TakeNumber(object, "engineSecondsPerMail", 1, 120, engine.seconds_per_mail);
}

ProductSettings ParseSettings(std::string_view text) {
    const nlohmann::json value = nlohmann::json::parse(text);
    RequireMembers(value,
                   {"isPluginEnabled", "checkIncomingOnly", "policySettings", "userSettings"},
                   {"engine", "engineAddresses", "engineSecondsPerPart", "engineSecondsPerMail",
                    "rememberedMessages", "rememberedHours", "keptDays", "keptMegabytes"});
    ProductSettings settings;
    MailPluginSettings& plugin = settings.plugin;
    plugin.isPluginEnabled = RequireBool(value, "isPluginEnabled");
    plugin.checkIncomingOnly = RequireBool(value, "checkIncomingOnly");
    const nlohmann::json& policy = value.at("policySettings");
    if (!policy.is_null()) plugin.policySettings = ToSwitches(policy);
    plugin.userSettings = ToSwitches(value.at("userSettings"));
    TakeEngine(value, settings.engine);
    TakeNumber(value, "rememberedMessages", 0, 100'000, settings.remembered_messages);
    TakeNumber(value, "rememberedHours", 1, 168, settings.remembered_hours);
    TakeNumber(value, "keptDays", 1, 3650, settings.kept_days);
    TakeNumber(value, "keptMegabytes", 0, 1 << 20, settings.kept_megabytes);
    return settings;
}

std::string DefaultText() {
    const ProductSettings settings;
    return Json{{"isPluginEnabled", settings.plugin.isPluginEnabled},
                {"checkIncomingOnly", settings.plugin.checkIncomingOnly},
                {"policySettings", nullptr},
                {"userSettings", ToJson(settings.plugin.userSettings)},
                {"engine", settings.engine.name},
                {"engineAddresses", Json::array()},
                {"engineSecondsPerPart", settings.engine.seconds_per_part},
                {"engineSecondsPerMail", settings.engine.seconds_per_mail},
                {"rememberedMessages", settings.remembered_messages},
                {"rememberedHours", settings.remembered_hours},
                {"keptDays", settings.kept_days},
                {"keptMegabytes", settings.kept_megabytes}}
               .dump(1) +
           '\n';
}

// The plug-in takes a policy's switches together: one that the policy leaves open stays the user's.
void Impose(const Policy& policy, ProductSettings& settings) {
    MailPluginSettings& plugin = settings.plugin;
    plugin.isPluginEnabled = policy.is_plugin_enabled.value_or(plugin.isPluginEnabled);
    settings.is_off_by_policy = policy.is_plugin_enabled == false;
    plugin.checkIncomingOnly = policy.check_incoming_only.value_or(plugin.checkIncomingOnly);
    if (policy.check_on_delivery || policy.check_on_read || policy.check_on_send) {
        MailSettings& switches = plugin.policySettings.has_value()
                                     ? *plugin.policySettings
                                     : plugin.policySettings.emplace(plugin.userSettings);
        if (policy.check_on_delivery) switches.checkOnDelivery = *policy.check_on_delivery;
        if (policy.check_on_read) switches.checkOnRead = *policy.check_on_read;
        if (policy.check_on_send) switches.checkOnSend = *policy.check_on_send;
    }
    EngineSettings& engine = settings.engine;
    engine.name = policy.engine.value_or(engine.name);
    if (policy.engine_addresses) engine.addresses = *policy.engine_addresses;
    engine.seconds_per_part = policy.engine_seconds_per_part.value_or(engine.seconds_per_part);
    engine.seconds_per_mail = policy.engine_seconds_per_mail.value_or(engine.seconds_per_mail);
}

}  // namespace

bool IsSid(std::string_view account) noexcept {
    if (!account.starts_with("S-1-") || account.size() > kLongestSid) return false;
    bool after_digit = false;
    for (const char letter : account.substr(4)) {
        if (!IsDigit(letter) && !(letter == '-' && after_digit)) return false;
        after_digit = IsDigit(letter);
    }
    return after_digit;
}

SettingsStore::SettingsStore(std::filesystem::path file, std::filesystem::path users, Log log,
                             vek::platform::Registry& registry)
    : log_(log),
      users_(std::move(users)),
      file_(std::move(file), ParseSettings, log),
      policy_(log, registry) {}

vek::result_t SettingsStore::Get(std::string_view account, ProductSettings& settings) {
    if (!users_.empty()) WriteMissing();
    std::shared_ptr<const ProductSettings> all;
    const vek::result_t code = file_.Get(all);
    if (vek::Failed(code)) return code;
    settings = *all;
    if (const auto own = SwitchesOf(account)) settings.plugin.userSettings = *own;
    Impose(policy_.Read(), settings);
    return vek::result::kOk;
}

// A file that cannot be written stays missing, and is asked for again.
void SettingsStore::WriteMissing() {
    const auto is_missing = [this] {
        std::error_code error;
        return !std::filesystem::exists(file_.path(), error) && !error;
    };
    if (!is_missing()) return;
    const std::lock_guard guard(writing_);
    if (!is_missing()) return;
    try {
        ReplaceTextFile(file_.path(), DefaultText());
        log_("settings written from the defaults");
    } catch (const std::exception&) {
        log_("settings: " + vek::CurrentExceptionText());
    }
}

std::optional<ProductSettings> SettingsStore::OfAll() {
    ProductSettings settings;
    try {
        if (vek::Succeeded(Get({}, settings))) return settings;
    } catch (const std::exception&) {
        log_("settings cannot be read: " + vek::CurrentExceptionText());
    }
    return std::nullopt;
}

std::filesystem::path SettingsStore::FileOf(std::string_view account) const {
    return users_ / PathOf(std::string(account) + ".json");
}

// Null for a user who has chosen nothing.
std::shared_ptr<const MailSettings> SettingsStore::SwitchesOf(std::string_view account) {
    if (users_.empty() || !IsSid(account)) return nullptr;
    const std::filesystem::path path = FileOf(account);
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) return nullptr;
    EditedFile<Switches>* file = nullptr;
    {
        const std::lock_guard guard(lock_);
        auto& owned = files_of_users_[path];
        if (!owned) owned = std::make_unique<EditedFile<Switches>>(path, ParseSwitches, log_);
        file = owned.get();
    }
    std::shared_ptr<const MailSettings> switches;
    file->Get(switches);
    return switches;
}

vek::result_t SettingsStore::SetSwitches(std::string_view account, const MailSettings& switches) {
    const std::lock_guard guard(writing_);
    std::string user = "the user";
    if (users_.empty()) {
        std::shared_ptr<const ProductSettings> all;
        const vek::result_t code = file_.Get(all);
        if (vek::Failed(code)) return code;
        Json text = Json::parse(ReadTextFile(file_.path()).value());
        text["userSettings"] = ToJson(switches);
        ReplaceTextFile(file_.path(), text.dump(1) + '\n');
    } else {
        user = account;
        if (!IsSid(account)) {
            log_("settings are not kept for \"" + user + '"');
            return vek::result::kAccessDenied;
        }
        std::filesystem::create_directories(users_);
        ReplaceTextFile(FileOf(account), ToJson(switches).dump(1) + '\n');
    }
    log_("settings changed by " + user + ": " + ToJson(switches).dump());
    return vek::result::kOk;
}

}  // namespace reference_product
