#include "sandbox/product/subject_text.h"

#include <cstddef>
#include <cstdint>

namespace sandbox::product {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

struct Decoded {
    char32_t point;
    std::size_t length;
};

// The code point that `text`, which is not empty, starts with.
Decoded DecodeUtf8(std::string_view text) {
    const auto first = static_cast<std::uint8_t>(text.front());
    if (first < 0x80) return {first, 1};
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length) return {kReplacement, 1};
    char32_t point = first & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<std::uint8_t>(text[i]);
        if ((next & 0xC0u) != 0x80u) return {kReplacement, 1};
        point = (point << 6) | (next & 0x3Fu);
    }
    constexpr char32_t kFirstOfLength[] = {0x80, 0x800, 0x10000};
    if (point < kFirstOfLength[length - 2] || point > 0x10FFFF || IsHighSurrogate(point) ||
        IsLowSurrogate(point)) {
        return {kReplacement, 1};
    }
    return {point, length};
}

void AppendUtf8(std::string& text, char32_t point) {
    const auto append = [&](char32_t byte) { text += static_cast<char>(byte); };
    if (point < 0x80) {
        append(point);
        return;
    }
    const int tail = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
    append(((0xFF00u >> (tail + 1)) & 0xFFu) | (point >> (6 * tail)));
    for (int i = tail - 1; i >= 0; --i) append(0x80u | ((point >> (6 * i)) & 0x3Fu));
}

}  // namespace

std::string ToUtf8(std::u16string_view text) {
    std::string converted;
    converted.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t point = text[i];
        if (IsHighSurrogate(point) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
            point = 0x10000 + ((point - 0xD800) << 10) + (text[++i] - 0xDC00u);
        } else if (IsHighSurrogate(point) || IsLowSurrogate(point)) {
            point = kReplacement;
        }
        AppendUtf8(converted, point);
    }
    return converted;
}

std::u16string ToUtf16(std::string_view text) {
    std::u16string converted;
    converted.reserve(text.size());
    while (!text.empty()) {
        const auto [point, length] = DecodeUtf8(text);
        text.remove_prefix(length);
        if (point < 0x10000) {
            converted += static_cast<char16_t>(point);
        } else {
            converted += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
            converted += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
        }
    }
    return converted;
}

}  // namespace sandbox::product
