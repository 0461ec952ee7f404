#include "vek/platform/ansi_text.h"

#include "vek/core/text.h"

namespace vek::platform {
namespace {

// What is converted at once, in units.
constexpr std::size_t kPiece = 65536;

constexpr bool IsLeadingSurrogate(char16_t unit) noexcept { return (unit & 0xFC00) == 0xD800; }

}  // namespace

bool HasAllOf(code_page_t page, std::u16string_view text) {
    if (HasEverything(page)) return true;
    // Each page of a system has ASCII.
    for (;;) {
        text.remove_prefix(AsciiRun(text));
        if (text.empty()) return true;
        std::u16string_view piece = text.substr(0, kPiece);
        if (piece.size() == kPiece && IsLeadingSurrogate(piece.back())) piece.remove_suffix(1);
        if (!native::HasAllOfPiece(page, piece)) return false;
        text.remove_prefix(piece.size());
    }
}

}  // namespace vek::platform
