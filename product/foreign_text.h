#pragma once

// Texts that a sender or an engine decides about, on their way into logs, reports and mail.

#include <cstddef>
#include <string>
#include <string_view>

namespace reference_product {

// Without what would begin another line, tell a terminal something or turn the order of letters.
// Bytes that are no UTF-8 stay.
std::string InOneLine(std::string_view text);

// At most `most` bytes of it, and "..." for the rest; no character of UTF-8 is cut.
std::string Shortened(std::string text, std::size_t most);

// A short text of a foreign program for people: on one line, well-formed, at most 256 bytes of it.
std::string CleanText(std::string_view text);

// Its beginning and its end when it has more than `most` bytes: rules look at both.
std::string Middleless(std::string text, std::size_t most);

}  // namespace reference_product
