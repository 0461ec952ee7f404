#pragma once

// The settings that the product keeps for the plug-in.
//
// Records cross the process border by their type id, with their fields in the order of kFields:
// both are a contract with the product.

#include <cstdint>
#include <optional>
#include <tuple>

#include "vek/core/object.h"

namespace plugins::product {

// When mail is checked. Each switch is on when it is not zero.
struct MailSettings {
    static constexpr std::uint32_t kTypeId = 0x6680855C;

    std::uint32_t checkOnDelivery = 0;  // when it arrives
    std::uint32_t checkOnRead = 0;      // when it is opened or shown
    std::uint32_t checkOnSend = 0;      // when it is being sent

    static constexpr auto kFields = std::make_tuple(
        &MailSettings::checkOnDelivery, &MailSettings::checkOnRead, &MailSettings::checkOnSend);

    bool operator==(const MailSettings&) const = default;
};

// All of the plug-in's settings.
struct MailPluginSettings {
    static constexpr std::uint32_t kTypeId = 0x3B71E81C;

    bool isPluginEnabled = false;    // otherwise no mail is ever checked
    bool checkIncomingOnly = false;  // mail being sent is never checked, whatever the switches say
    std::optional<MailSettings> policySettings;  // while an administrator's policy is in force
    MailSettings userSettings;                   // what the user chose

    static constexpr auto kFields = std::make_tuple(
        &MailPluginSettings::isPluginEnabled, &MailPluginSettings::checkIncomingOnly,
        &MailPluginSettings::policySettings, &MailPluginSettings::userSettings);

    bool operator==(const MailPluginSettings&) const = default;
};

// The product's settings service. Both operations may be called from any thread, block until the
// product has answered, and return a result code without raising.
struct IProductSettings : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0xAF86C16C;

    // Fills the whole record. After a failure its content is of no use.
    virtual vek::result_t GetSettings(MailPluginSettings& settings) noexcept = 0;
    // Keeps the user's switches; a policy in force is not touched by them.
    virtual vek::result_t SetUserSettings(const MailSettings& settings) noexcept = 0;

protected:
    ~IProductSettings() = default;
};

}  // namespace plugins::product
