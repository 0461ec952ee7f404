#pragma once

#include <filesystem>
#include <mutex>

#include "private_include/common/product_settings.h"
#include "product/edited_file.h"
#include "vek/core/object.h"

namespace reference_product {

// Serves the settings of a file like settings.json: every field must be there and no other.
// "policySettings" is null while no policy is in force. Any thread may call it.
//
// A missing file gives kNotFound, a malformed one kInvalidType, and the caller's record stays as it
// was. Neither is overwritten: the user's switches go only into a well-formed file.
class SettingsService final : public vek::ObjectImpl<plugins::product::IProductSettings> {
public:
    SettingsService(std::filesystem::path file, Log log);

    vek::result_t GetSettings(plugins::product::MailPluginSettings& settings) noexcept override;
    vek::result_t SetUserSettings(const plugins::product::MailSettings& settings) noexcept override;

private:
    const Log log_;
    EditedFile<plugins::product::MailPluginSettings> file_;
    std::mutex writing_;  // one change of the file at a time
};

}  // namespace reference_product
