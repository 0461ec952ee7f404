#pragma once

// The border between UTF-8 and the narrow texts of old system interfaces, which are in the
// system's ANSI code page on Windows and in UTF-8 elsewhere.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vek::platform {

// Both convert all of `text`, NULs included, and may be called from any thread. A malformed byte
// becomes a replacement character.
std::string AnsiToUtf8(std::string_view text);

// A character that the code page lacks becomes the nearest that it has, or its default character.
std::string Utf8ToAnsi(std::string_view text);

// A code page by its number (winnls.h).
using code_page_t = std::uint32_t;
inline constexpr code_page_t kAnsiCodePage = 0;  // CP_ACP: the system's, of the texts above
inline constexpr code_page_t kUtf8CodePage = 65001;

// Tells whether the page has all of Unicode. Any thread.
bool HasEverything(code_page_t page) noexcept;

// Tells whether each character of `text` is in the page: none would be lost, nor become one that
// merely looks like it. False for a page that the system does not know. Any thread.
bool HasAllOf(code_page_t page, std::u16string_view text);

namespace native {
// The system's part of HasAllOf: the page has not everything, and `text` is a piece of a text.
bool HasAllOfPiece(code_page_t page, std::u16string_view text);
}  // namespace native

// Gives the text that `bytes` are in the page, or nothing when the system does not know the page.
// What is malformed becomes a replacement character, or nothing is given. Any thread.
std::optional<std::u16string> FromCodePage(code_page_t page, std::string_view bytes);

}  // namespace vek::platform
