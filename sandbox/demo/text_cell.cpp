#include "sandbox/demo/text_cell.h"

#include <algorithm>
#include <array>

#include "vek/core/text.h"

namespace sandbox::demo {
namespace {

struct Range {
    char32_t first;
    char32_t last;
};

// The usual ones of the classes Mn, Me and Cf.
constexpr std::array kWithoutWidth = {
    Range{0x300, 0x36F},   Range{0x483, 0x489},   Range{0x591, 0x5BD},   Range{0x610, 0x61A},
    Range{0x64B, 0x65F},   Range{0x6D6, 0x6DC},   Range{0xE31, 0xE31},   Range{0xE34, 0xE3A},
    Range{0xE47, 0xE4E},   Range{0x200B, 0x200D}, Range{0x20D0, 0x20FF}, Range{0x3099, 0x309A},
    Range{0xFE00, 0xFE0F}, Range{0xFE20, 0xFE2F}};

// The large blocks of the classes W and F of UAX #11, East Asian Width.
constexpr std::array kWide = {
    Range{0x1100, 0x115F},   Range{0x2E80, 0x303E},   Range{0x3041, 0x4DBF},
    Range{0x4E00, 0xA4CF},   Range{0xAC00, 0xD7A3},   Range{0xF900, 0xFAFF},
    Range{0xFE30, 0xFE6F},   Range{0xFF00, 0xFF60},   Range{0xFFE0, 0xFFE6},
    Range{0x1F300, 0x1F64F}, Range{0x1F680, 0x1F6FF}, Range{0x1F900, 0x1F9FF},
    Range{0x20000, 0x3FFFD}};

template <std::size_t size>
bool IsIn(const std::array<Range, size>& ranges, char32_t c) {
    return std::ranges::any_of(
        ranges, [c](const Range& range) { return range.first <= c && c <= range.last; });
}

std::size_t Width(char32_t c) {
    if (IsIn(kWithoutWidth, c)) return 0;
    return IsIn(kWide, c) ? 2 : 1;
}

// Takes the first character off `text`, which is not empty.
std::u16string_view TakeCharacter(std::u16string_view& text) {
    const bool pair = text.size() > 1 && text[0] >= 0xD800 && text[0] <= 0xDBFF &&
                      text[1] >= 0xDC00 && text[1] <= 0xDFFF;
    const std::u16string_view character = text.substr(0, pair ? 2 : 1);
    text.remove_prefix(character.size());
    return character;
}

char32_t CodeOf(std::u16string_view character) {
    if (character.size() == 1) return character[0];
    return 0x10000 + ((character[0] - char32_t{0xD800}) << 10) + (character[1] - char32_t{0xDC00});
}

}  // namespace

std::string Cell(std::string_view text, std::size_t width) {
    const std::u16string whole = vek::ToUtf16(text);
    std::u16string_view left = whole;
    std::string cell;
    std::size_t columns = 0;
    // The size of the cell if more follows than it has room for: a column is the ellipsis'.
    std::size_t cut = 0;
    std::size_t cut_columns = 0;
    while (!left.empty()) {
        std::u16string_view character = TakeCharacter(left);
        if (vek::IsControl(CodeOf(character))) character = u".";
        columns += Width(CodeOf(character));
        if (columns > width) {
            cell.resize(cut);
            return cell.append("\u2026").append(width - cut_columns - 1, ' ');
        }
        vek::AppendUtf8(cell, character);
        if (columns < width) {
            cut = cell.size();
            cut_columns = columns;
        }
    }
    return cell.append(width - columns, ' ');
}

}  // namespace sandbox::demo
