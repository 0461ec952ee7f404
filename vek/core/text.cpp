#include "vek/core/text.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace vek {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kFirstSupplementary = 0x10000;
constexpr char32_t kLast = 0x10FFFF;

constexpr bool IsHighSurrogate(char32_t unit) noexcept { return (unit & ~0x3FFu) == 0xD800; }
constexpr bool IsLowSurrogate(char32_t unit) noexcept { return (unit & ~0x3FFu) == 0xDC00; }
constexpr bool IsSurrogate(char32_t unit) noexcept { return (unit & ~0x7FFu) == 0xD800; }

// Decodes the start of `text`, which is not empty. An unpaired surrogate stands for itself.
Decoded DecodeUtf16(std::u16string_view text) noexcept {
    const char32_t first = text[0];
    if (!IsHighSurrogate(first) || text.size() < 2 || !IsLowSurrogate(text[1])) return {first, 1};
    return {kFirstSupplementary + ((first & 0x3FF) << 10) + (text[1] & 0x3FFu), 2};
}

// Texts are mostly ASCII: eight bytes of it are passed at once.
template <class Char>
std::size_t AsciiUnits(std::basic_string_view<Char> text) noexcept {
    constexpr std::uint64_t kOthers =
        sizeof(Char) == 1 ? 0x8080808080808080 : 0xFF80FF80FF80FF80;  // the bits of other units
    constexpr std::size_t kAtOnce = sizeof(kOthers) / sizeof(Char);
    std::size_t count = 0;
    for (std::uint64_t units = 0; text.size() - count >= kAtOnce; count += kAtOnce) {
        std::memcpy(&units, text.data() + count, sizeof(units));
        if ((units & kOthers) != 0) break;
    }
    while (count != text.size() && static_cast<char32_t>(text[count]) < 0x80) {
        ++count;
    }
    return count;
}

// Moves the ASCII at the start of `text` to `out`.
template <class To, class From>
void TakeAscii(std::basic_string<To>& out, std::basic_string_view<From>& text) {
    const std::basic_string_view<From> ascii = text.substr(0, AsciiUnits(text));
    const std::size_t before = out.size();
    out.resize(before + ascii.size());
    std::transform(ascii.begin(), ascii.end(), out.begin() + static_cast<std::ptrdiff_t>(before),
                   [](From unit) { return static_cast<To>(unit); });
    text.remove_prefix(ascii.size());
}

constexpr char Byte(char32_t value) noexcept { return static_cast<char>(value); }
constexpr char Continuation(char32_t value) noexcept { return Byte(0x80 | (value & 0x3F)); }

void AppendCodePoint(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += Byte(c);
    } else if (c < 0x800) {
        out += {Byte(0xC0 | (c >> 6)), Continuation(c)};
    } else if (c < kFirstSupplementary) {
        out += {Byte(0xE0 | (c >> 12)), Continuation(c >> 6), Continuation(c)};
    } else {
        out +=
            {Byte(0xF0 | (c >> 18)), Continuation(c >> 12), Continuation(c >> 6), Continuation(c)};
    }
}

}  // namespace

Decoded DecodeUtf8(std::string_view text) noexcept {
    constexpr Decoded kMalformed{kReplacement, 1};
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80) return {lead, 1};

    Decoded decoded{};
    char32_t smallest = 0;
    if ((lead & 0xE0) == 0xC0) {
        decoded = {lead & 0x1Fu, 2};
        smallest = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        decoded = {lead & 0x0Fu, 3};
        smallest = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        decoded = {lead & 0x07u, 4};
        smallest = kFirstSupplementary;
    } else {
        return kMalformed;
    }
    if (text.size() < decoded.length) return kMalformed;
    for (const char c : text.substr(1, decoded.length - 1)) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0) != 0x80) return kMalformed;
        decoded.code_point = (decoded.code_point << 6) | (byte & 0x3Fu);
    }
    if (decoded.code_point < smallest || decoded.code_point > kLast ||
        IsSurrogate(decoded.code_point)) {
        return kMalformed;
    }
    return decoded;
}

bool IsControl(char32_t code_point) noexcept {
    const auto in = [code_point](char32_t first, char32_t last) {
        return first <= code_point && code_point <= last;
    };
    return in(0x00, 0x1F) || in(0x7F, 0x9F) || in(0x61C, 0x61C) || in(0x200E, 0x200F) ||
           in(0x2028, 0x202E) || in(0x2066, 0x2069) || in(0xFEFF, 0xFEFF);
}

std::size_t AsciiRun(std::string_view text) noexcept { return AsciiUnits(text); }
std::size_t AsciiRun(std::u16string_view text) noexcept { return AsciiUnits(text); }

void AppendUtf8(std::string& out, std::u16string_view text) {
    for (TakeAscii(out, text); !text.empty(); TakeAscii(out, text)) {
        const Decoded decoded = DecodeUtf16(text);
        AppendCodePoint(out, decoded.code_point);
        text.remove_prefix(decoded.length);
    }
}

std::string ToUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    AppendUtf8(out, text);
    return out;
}

std::optional<std::string> ToUtf8Strict(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const Decoded decoded = DecodeUtf16(text);
        if (IsSurrogate(decoded.code_point)) return std::nullopt;
        AppendCodePoint(out, decoded.code_point);
        text.remove_prefix(decoded.length);
    }
    return out;
}

std::u16string ToUtf16(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    for (TakeAscii(out, text); !text.empty(); TakeAscii(out, text)) {
        const auto [code_point, length] = DecodeUtf8(text);
        if (code_point < kFirstSupplementary) {
            out += static_cast<char16_t>(code_point);
        } else {
            const char32_t offset = code_point - kFirstSupplementary;
            out += static_cast<char16_t>(0xD800 | (offset >> 10));
            out += static_cast<char16_t>(0xDC00 | (offset & 0x3FF));
        }
        text.remove_prefix(length);
    }
    return out;
}

}  // namespace vek
