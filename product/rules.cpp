#include "product/rules.h"

#include <algorithm>
#include <fstream>
#include <utility>

#include "product/rule_parser.h"

namespace reference_product {
namespace {

constexpr std::size_t kLongestFile = std::size_t{1} << 20;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

void ParseLine(std::string_view line, std::size_t number, std::string_view file,
               ParsedRules& parsed) {
    const std::size_t texts = parsed.rules.content_texts.size();
    try {
        if (auto rule = RuleParser(line, parsed.rules.content_texts).Parse()) {
            rule->line = number;
            parsed.rules.rules.push_back(*std::move(rule));
        }
    } catch (RuleSyntaxError& error) {
        parsed.rules.content_texts.resize(texts);
        parsed.errors.push_back({std::string(file), number, error.column, std::move(error.expected),
                                 std::move(error.found)});
    }
}

// FNV-1a.
std::uint64_t VersionOf(std::string_view text) {
    std::uint64_t version = 0xCBF29CE484222325;
    for (const char letter : text)
        version = (version ^ static_cast<unsigned char>(letter)) * 0x100000001B3;
    return version;
}

}  // namespace

bool RuleSet::Uses(Field field) const noexcept {
    return std::ranges::any_of(rules, [field](const Rule& rule) {
        return std::ranges::find(rule.conditions, field, &Condition::field) !=
               rule.conditions.end();
    });
}

std::string ToText(const RuleError& error) {
    std::string text = error.file;
    if (error.line != 0) {
        text += ':' + std::to_string(error.line) + ':' + std::to_string(error.column);
    }
    return text + ": expected " + error.expected + ", found " + error.found;
}

ParsedRules ParseRules(std::string_view text, std::string_view file) {
    ParsedRules parsed;
    parsed.rules.version = VersionOf(text);
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        ParseLine(text.substr(0, end), number, file, parsed);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parsed;
}

ParsedRules LoadRules(const std::filesystem::path& file) {
    const std::u8string name = file.u8string();
    const std::string_view display(reinterpret_cast<const char*>(name.data()), name.size());
    const auto unusable = [&](std::string_view expected, std::string_view found) {
        ParsedRules parsed;
        parsed.errors.push_back(
            {std::string(display), 0, 0, std::string(expected), std::string(found)});
        return parsed;
    };
    std::ifstream input(file, std::ios::binary);
    if (!input) return unusable("a rules file", "nothing that can be opened");
    std::string text(kLongestFile + 1, '\0');
    input.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (input.bad()) return unusable("a rules file", "something that cannot be read");
    text.resize(static_cast<std::size_t>(input.gcount()));
    if (text.size() > kLongestFile) return unusable("at most 1 MiB of rules", "more");
    return ParseRules(text, display);
}

}  // namespace reference_product
