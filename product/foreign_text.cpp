#include "product/foreign_text.h"

#include "vek/core/text.h"

namespace reference_product {
namespace {

constexpr std::size_t kLongestCleanText = 256;  // bytes

}  // namespace

std::string InOneLine(std::string_view text) {
    std::string line;
    while (!text.empty()) {
        const auto [code_point, length] = vek::DecodeUtf8(text);
        line += vek::IsControl(code_point) ? " " : text.substr(0, length);
        text.remove_prefix(length);
    }
    return line;
}

std::string Shortened(std::string text, std::size_t most) {
    if (text.size() <= most) return text;
    std::size_t end = most;
    while (end != 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    text.resize(end);
    return text += "...";
}

std::string CleanText(std::string_view text) {
    return Shortened(InOneLine(vek::ToUtf8(vek::ToUtf16(text))), kLongestCleanText);
}

std::string Middleless(std::string text, std::size_t most) {
    if (text.size() > most) text.erase(most / 2, text.size() - most);
    return text;
}

}  // namespace reference_product
