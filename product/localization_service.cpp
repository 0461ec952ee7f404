#include "product/localization_service.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "vek/core/border.h"

namespace reference_product {
namespace {

namespace result = vek::result;
using plugins::product::kDefaultResourceKind;

// Gives the path within the resource folder, or an empty one when it leads elsewhere. Both '/' and
// '\' separate names.
std::filesystem::path InsideFolder(std::string_view relative_path) {
    std::string text(relative_path);
    std::ranges::replace(text, '\\', '/');
    // A colon names a drive or another stream of the file.
    if (text.starts_with('/') || text.find_first_of(std::string_view(":\0", 2)) != text.npos)
        return {};
    const std::filesystem::path path = PathOf(text).lexically_normal();
    return path.empty() || *path.begin() == ".." ? std::filesystem::path() : path;
}

constexpr std::pair<std::string_view, std::string NoticeTexts::*> kNotices[] = {
    {"NoticeReplaced", &NoticeTexts::replaced}, {"NoticeDeleted", &NoticeTexts::deleted},
    {"NoticeLeft", &NoticeTexts::left},         {"NoticeBody", &NoticeTexts::body},
    {"NoticeMore", &NoticeTexts::more},         {"NoticeReplacement", &NoticeTexts::replacement},
};

}  // namespace

LocalizationService::LocalizationService(std::shared_ptr<TextFolder> texts,
                                         std::filesystem::path resources,
                                         std::string_view languages)
    : texts_(std::move(texts)), resources_(std::move(resources)), tags_(TextTags(languages)) {}

std::vector<std::string> LocalizationService::Tags() {
    const std::lock_guard guard(lock_);
    return tags_;
}

vek::result_t LocalizationService::GetText(std::uint32_t kind, std::string_view key,
                                           std::string& text) noexcept {
    if (kind != kDefaultResourceKind) return result::kInvalidArgument;
    return vek::AtBorder([&] {
        TextFolder::TextsPtr texts;
        if (const vek::result_t code = texts_->Get(Tags(), texts); vek::Failed(code)) return code;
        const std::string* found = texts->Find(key);
        if (found == nullptr && vek::Succeeded(texts_->GetEnglish(texts))) found = texts->Find(key);
        if (found == nullptr) return result::kNotFound;
        text = *found;
        return result::kOk;
    });
}

NoticeTexts LocalizationService::Notices() {
    NoticeTexts notices;
    const auto take = [&](vek::result_t code, const TextFolder::TextsPtr& texts) {
        if (vek::Failed(code)) return;
        for (const auto& [key, notice] : kNotices)
            if (const std::string* const found = texts->Find(key)) notices.*notice = *found;
    };
    TextFolder::TextsPtr texts;
    take(texts_->GetEnglish(texts), texts);
    take(texts_->Get(Tags(), texts), texts);
    return notices;
}

vek::result_t LocalizationService::SetUserLanguages(std::string_view languages) noexcept {
    if (languages.size() > plugins::product::kLongestUserLanguages) return result::kInvalidArgument;
    return vek::AtBorder([&] {
        std::vector<std::string> tags = TextTags(languages);
        const std::lock_guard guard(lock_);
        tags_ = std::move(tags);
        return result::kOk;
    });
}

vek::result_t LocalizationService::ResolveResource(std::uint32_t kind,
                                                   std::string_view relative_path,
                                                   std::string& path) noexcept {
    if (kind != kDefaultResourceKind) return result::kInvalidArgument;
    return vek::AtBorder([&] {
        const std::filesystem::path inside = InsideFolder(relative_path);
        if (inside.empty()) return result::kInvalidArgument;
        const std::filesystem::path file = std::filesystem::absolute(resources_ / inside);
        std::error_code error;
        if (!std::filesystem::is_regular_file(file, error)) return result::kNotFound;
        path = PathText(file);
        return result::kOk;
    });
}

vek::result_t LocalizationService::IsRightToLeft(bool& right_to_left) noexcept {
    return vek::AtBorder([&] {
        TextFolder::TextsPtr texts;
        if (const vek::result_t code = texts_->Get(Tags(), texts); vek::Failed(code)) return code;
        right_to_left = texts->right_to_left;
        return result::kOk;
    });
}

}  // namespace reference_product
