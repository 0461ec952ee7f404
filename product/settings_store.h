#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "private_include/common/product_settings.h"
#include "product/edited_file.h"
#include "product/policy/engine_address.h"
#include "product/policy/policy.h"

namespace reference_product {

// What looks at the contents of mail.
struct EngineSettings {
    std::string name{kRulesEngine};        // one that IsEngine knows
    std::vector<EngineAddress> addresses;  // at most 16, the first one is tried first
    std::uint32_t seconds_per_part = 10;   // 1 to 60
    std::uint32_t seconds_per_mail = 20;   // 1 to 120

    bool operator==(const EngineSettings&) const = default;
};

// What the product's settings say. A settings file need have only what `plugin` holds; the numbers
// beside a member are the least and the most that it may say.
struct ProductSettings {
    plugins::product::MailPluginSettings plugin{true, false, {}, {1, 1, 1}};
    bool is_off_by_policy = false;  // not of the file: a policy has switched protection off
    EngineSettings engine;
    std::uint32_t remembered_messages = 10'000;  // 0 to 100,000
    std::uint32_t remembered_hours = 24;         // 1 to 168
    std::uint32_t kept_days = 30;                // 1 to 3650
    std::uint32_t kept_megabytes = 1024;         // 0 to 1,048,576
};

// Tells whether an account is a text SID in its usual form, and so a safe name of a file.
bool IsSid(std::string_view account) noexcept;

// Keeps the settings: those of all in a file, each user's switches beside it or in it, and over
// both the administrator's policy. Files and policy are looked at for every question. Any thread
// may call it.
//
// A malformed file of all gives kInvalidType and is never overwritten; the log says what is wrong.
class SettingsStore {
public:
    // `users` is the folder of the users' files, each named by its account's SID. Empty: all users
    // have the switches of `file`, and one that is missing gives kNotFound; else it is written with
    // the defaults.
    SettingsStore(std::filesystem::path file, std::filesystem::path users, Log log,
                  vek::platform::Registry& registry = vek::platform::TheRegistry());

    // Gives the settings as they are for a user, policy included; untouched by a failure. A user
    // without a well-formed file of his own has the switches of all.
    vek::result_t Get(std::string_view account, ProductSettings& settings);
    // Gives those of no user; nothing after a failure.
    std::optional<ProductSettings> OfAll();

    // Keeps a user's switches. kAccessDenied for an account that IsSid refuses, where users have
    // files of their own. Raises std::runtime_error when they cannot be written.
    vek::result_t SetSwitches(std::string_view account,
                              const plugins::product::MailSettings& switches);

private:
    using Switches = plugins::product::MailSettings;

    void WriteMissing();
    std::filesystem::path FileOf(std::string_view account) const;
    std::shared_ptr<const Switches> SwitchesOf(std::string_view account);

    const Log log_;
    const std::filesystem::path users_;
    EditedFile<ProductSettings> file_;
    PolicyReader policy_;
    std::mutex writing_;  // one change of a file at a time
    std::mutex lock_;     // guards what follows, of which nothing goes
    std::map<std::filesystem::path, std::unique_ptr<EditedFile<Switches>>> files_of_users_;
};

}  // namespace reference_product
