#include "product/find_notice.h"

#include <algorithm>

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

// A text of others, which is to look like one and not to begin anything.
std::string AsPlainWords(std::string_view text) {
    std::string words = InOneLine(Middleless(std::string(text), kLongestNameShown));
    for (char& letter : words) {
        if (letter == '"') letter = '\'';
        if (std::string_view("<>&").find(letter) != std::string_view::npos) letter = '_';
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
    for (std::size_t i = 0; i < std::min(attachments.size(), kMostLines); ++i) {
        const DangerousAttachment& attachment = attachments[i];
        add(TextFor(attachment.fate, texts), AsPlainWords(attachment.name),
            WithReferences(AsPlainWords(attachment.find)));
    }
    if (attachments.size() > kMostLines)
        add(texts.more, std::to_string(attachments.size() - kMostLines), {});
    return notice;
}

std::string FindReplacement(const NoticeTexts& texts, std::string_view find) {
    constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
    const std::string text = Fill(texts.replacement, InOneLine(find));
    const bool is_ascii = vek::AsciiRun(std::string_view(text)) == text.size();
    return is_ascii ? text : std::string(kUtf8Mark) + text;
}

}  // namespace reference_product
