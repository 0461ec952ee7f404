#pragma once

#include <filesystem>
#include <mutex>

#include "private_include/common/product_settings.h"
#include "product/edited_file.h"
#include "vek/core/object.h"

namespace reference_product {

// The settings of a file, as settings.json shows them: every field must be there and no other.
// "policySettings" is null while no policy is in force. Free-threaded.
//
// A file that is missing gives kNotFound, one that is not understood kInvalidType, and the caller's
// record stays as it was. Neither is written over: the user's switches go into a good file alone.
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
