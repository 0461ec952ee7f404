#include "product/text_folder.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "product/state/strict_json.h"

namespace reference_product {
namespace {

using plugins::product::LocalizationPair;

// More than a user chooses.
constexpr std::size_t kMostTags = 16;

bool IsTagLetter(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsTagDigit(char c) noexcept { return c >= '0' && c <= '9'; }
char Lower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; }
char Upper(char c) noexcept { return c >= 'a' && c <= 'z' ? static_cast<char>(c & ~0x20) : c; }

std::vector<std::string_view> SplitTags(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (;;) {
        const std::size_t end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == text.npos) return parts;
        text.remove_prefix(end + 1);
    }
}

// A part of a tag as it is usually written: "de", "Hant", "AT".
std::string Part(std::string_view text, bool is_first) {
    std::string part;
    for (const char c : text) {
        const bool is_large = !is_first && (text.size() == 2 || (text.size() == 4 && part.empty()));
        part += is_large ? Upper(c) : Lower(c);
    }
    if (is_first && part == "iw") part = "he";  // the old name of Hebrew
    return part;
}

// The parts of a tag; none when it is no tag.
std::vector<std::string> PartsOf(std::string_view tag) {
    std::vector<std::string> parts;
    for (const std::string_view text : SplitTags(tag, '-')) {
        const bool is_first = parts.empty();
        const bool is_part =
            !text.empty() && text.size() <= 8 && std::ranges::all_of(text, [&](char c) {
                return IsTagLetter(c) || (!is_first && IsTagDigit(c));
            });
        if (!is_part) return {};
        parts.push_back(Part(text, is_first));
    }
    return parts;
}

TextFolder::Texts Parse(std::string_view text) {
    const nlohmann::json value = nlohmann::json::parse(text);
    RequireMembers(value, {"rightToLeft", "texts"});
    TextFolder::Texts texts;
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

}  // namespace

std::vector<std::string> TextTags(std::string_view languages) {
    std::vector<std::string> tags;
    for (const std::string_view language : SplitTags(languages, ';')) {
        for (auto parts = PartsOf(language); !parts.empty(); parts.pop_back()) {
            std::string tag = parts.front();
            for (std::size_t i = 1; i != parts.size(); ++i) tag += '-' + parts[i];
            if (tags.size() == kMostTags) return tags;
            if (std::ranges::find(tags, tag) == tags.end()) tags.push_back(std::move(tag));
        }
    }
    return tags;
}

const std::string* TextFolder::Texts::Find(std::string_view name) const {
    const auto found = std::ranges::lower_bound(pairs, name, {}, &LocalizationPair::resourceName);
    return found != pairs.end() && found->resourceName == name ? &found->utf8Value : nullptr;
}

TextFolder::TextFolder(std::filesystem::path folder, Log log)
    : folder_(std::move(folder)), log_(std::move(log)) {}

vek::result_t TextFolder::Get(const std::vector<std::string>& tags, TextsPtr& texts) {
    for (const std::string& tag : tags) {
        // A user may want languages that there are not; callers do not fill the map by that.
        std::error_code error;
        if (std::filesystem::is_regular_file(folder_ / (tag + ".json"), error) &&
            vek::Succeeded(File(tag).Get(texts)))
            return vek::result::kOk;
    }
    return GetEnglish(texts);
}

TextFolder::TextFile& TextFolder::File(const std::string& tag) {
    const std::lock_guard guard(lock_);
    std::unique_ptr<TextFile>& file = files_[tag];
    if (!file) file = std::make_unique<TextFile>(folder_ / (tag + ".json"), Parse, log_);
    return *file;
}

}  // namespace reference_product
