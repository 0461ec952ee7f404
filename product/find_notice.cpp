#include "product/find_notice.h"

#include <algorithm>
#include <span>

#include "product/foreign_text.h"
#include "vek/core/text.h"

namespace reference_product {
namespace {

constexpr std::size_t kMostLines = 10;
constexpr std::size_t kLongestNameShown = 120;

bool IsRightToLeft(std::string_view text) {
    while (!text.empty()) {
        const auto [code_point, length] = vek::DecodeUtf8(text);
        if (code_point >= 0x590 && code_point <= 0x8FF) return true;  // Hebrew to Arabic
        text.remove_prefix(length);
    }
    return false;
}

// Where a text has its own direction, whatever stands around it. By embedding, which mail programs
// have understood for longer than isolating.
std::string FromLeft(const std::string& html) {
    return html.empty() ? html : "&#8234;" + html + "&#8236;";
}
std::string FromRight(const std::string& html) { return "&#8235;" + html + "&#8236;"; }

// A text of others, which is to look like one and not to begin anything; `marks` mean something
// where it stands. Half a letter that a cut leaves takes no more than a dot or a blank with it.
std::string AsPlainWords(std::string_view text, std::string_view marks = "<>&") {
    std::string words(text);
    if (text.size() > kLongestNameShown) {
        constexpr std::size_t kHalf = kLongestNameShown / 2;
        words.replace(kHalf, text.size() - 2 * kHalf, "...") += ' ';
    }
    words = InOneLine(words);
    for (char& letter : words) {
        if (letter == '"') letter = '\'';
        if (marks.find(letter) != marks.npos) letter = '_';
    }
    return words;
}

const std::string& TextFor(DangerousAttachment::Fate fate, const NoticeTexts& texts) {
    using enum DangerousAttachment::Fate;
    return fate == kLeft ? texts.left : fate == kDeleted ? texts.deleted : texts.replaced;
}

}  // namespace

std::string WithReferences(std::string_view text) {
    std::string html;
    while (!text.empty()) {
        const auto [code_point, length] = vek::DecodeUtf8(text);
        if (code_point < 0x80) {
            html += text.front();
        } else {
            html += "&#" + std::to_string(static_cast<std::uint32_t>(code_point)) + ';';
        }
        text.remove_prefix(length);
    }
    return html;
}

std::string FindNotice(const NoticeTexts& texts, std::string_view body_find,
                       std::vector<DangerousAttachment> attachments) {
    std::string notice;
    const auto add = [&](std::string_view form, const std::string& first,
                         const std::string& second) {
        notice += notice.empty() ? "" : "\r\n";
        notice += IsRightToLeft(form)
                      ? FromRight(Fill(WithReferences(form), FromLeft(first), FromLeft(second)))
                      : Fill(WithReferences(form), first, second);
    };
    if (!body_find.empty()) add(texts.body, WithReferences(AsPlainWords(body_find)), {});
    std::ranges::stable_sort(attachments, {}, &DangerousAttachment::fate);
    const auto gone = std::ranges::upper_bound(attachments, DangerousAttachment::Fate::kLeft, {},
                                               &DangerousAttachment::fate);
    for (const std::span<const DangerousAttachment> part :
         {std::span(attachments.begin(), gone), std::span(gone, attachments.end())}) {
        for (const auto& [name, find, fate] : part.first(std::min(part.size(), kMostLines)))
            add(TextFor(fate, texts), AsPlainWords(name), WithReferences(AsPlainWords(find)));
        if (part.size() > kMostLines) add(texts.more, std::to_string(part.size() - kMostLines), {});
    }
    return notice;
}

std::string FindReplacement(const NoticeTexts& texts, std::string_view find) {
    constexpr std::string_view kMarksOfScripts = "<>&|^%`$;";
    constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
    const std::string text = Fill(texts.replacement, AsPlainWords(find, kMarksOfScripts));
    const bool is_ascii = vek::AsciiRun(std::string_view(text)) == text.size();
    return is_ascii ? text : std::string(kUtf8Mark) + text;
}

}  // namespace reference_product
