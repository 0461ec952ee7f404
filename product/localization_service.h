#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "private_include/common/localization.h"
#include "private_include/common/user_language.h"
#include "product/notice_texts.h"
#include "product/text_folder.h"
#include "vek/core/object.h"

namespace reference_product {

// Serves one caller the texts in his user's language, and the files of a resource folder. A text
// that the language lacks is the English one; failures are those of the folder of texts. A path
// that leads out of the resource folder gives kInvalidArgument. Any thread may call it.
class LocalizationService final
    : public vek::ObjectImpl<plugins::product::ILocalization, plugins::product::IUserLanguage> {
public:
    // `languages` as for SetUserLanguages, which changes them.
    LocalizationService(std::shared_ptr<TextFolder> texts, std::filesystem::path resources,
                        std::string_view languages = {});

    vek::result_t GetText(std::uint32_t kind, std::string_view key,
                          std::string& text) noexcept override;
    vek::result_t ResolveResource(std::uint32_t kind, std::string_view relative_path,
                                  std::string& path) noexcept override;
    vek::result_t IsRightToLeft(bool& right_to_left) noexcept override;

    vek::result_t SetUserLanguages(std::string_view languages) noexcept override;

    // The texts of the notices in the user's mail; what his language lacks is English, of the
    // folder if it has it. May raise for want of memory.
    NoticeTexts Notices();

private:
    std::vector<std::string> Tags();

    const std::shared_ptr<TextFolder> texts_;
    const std::filesystem::path resources_;
    std::mutex lock_;  // guards what follows
    std::vector<std::string> tags_;
};

}  // namespace reference_product
