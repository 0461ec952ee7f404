#include "product/localization_service.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "product/state/strict_json.h"
#include "vek/core/border.h"

namespace reference_product {
namespace {

namespace result = vek::result;
using plugins::product::kDefaultResourceKind;
using plugins::product::LocalizationPair;

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

}  // namespace

LocalizationService::Texts LocalizationService::Parse(std::string_view text) {
    const nlohmann::json value = nlohmann::json::parse(text);
    RequireMembers(value, {"rightToLeft", "texts"});
    Texts texts;
    texts.right_to_left = RequireBool(value, "rightToLeft");
    for (const nlohmann::json& pair : value.at("texts")) {
        RequireMembers(pair, {"resourceName", "utf8Value"});
        texts.pairs.push_back(
            {pair.at("resourceName").get<std::string>(), pair.at("utf8Value").get<std::string>()});
    }
    std::ranges::sort(texts.pairs, {}, &LocalizationPair::resourceName);
    const auto twice = std::ranges::adjacent_find(texts.pairs, {}, &LocalizationPair::resourceName);
    if (twice != texts.pairs.end())
        throw std::runtime_error(twice->resourceName + " has two texts");
    return texts;
}

LocalizationService::LocalizationService(std::filesystem::path texts,
                                         std::filesystem::path resources, Log log)
    : texts_(std::move(texts), Parse, std::move(log)), resources_(std::move(resources)) {}

vek::result_t LocalizationService::GetText(std::uint32_t kind, std::string_view key,
                                           std::string& text) noexcept {
    if (kind != kDefaultResourceKind) return result::kInvalidArgument;
    return vek::AtBorder([&] {
        std::shared_ptr<const Texts> texts;
        if (const vek::result_t code = texts_.Get(texts); vek::Failed(code)) return code;
        const auto found =
            std::ranges::lower_bound(texts->pairs, key, {}, &LocalizationPair::resourceName);
        if (found == texts->pairs.end() || found->resourceName != key) return result::kNotFound;
        text = found->utf8Value;
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
        std::shared_ptr<const Texts> texts;
        if (const vek::result_t code = texts_.Get(texts); vek::Failed(code)) return code;
        right_to_left = texts->right_to_left;
        return result::kOk;
    });
}

}  // namespace reference_product
