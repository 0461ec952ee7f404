#pragma once

// The words of a Rich Text Format document, which its escapes would hide from a search.

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace reference_product {

// Takes a document in pieces and gives its text, without the control words and groups. Texts of
// the document's tables (fonts, styles) are given too: that does not matter to a search.
class RtfText {
public:
    // Appends the text of the next piece.
    void Feed(std::span<const std::byte> piece, std::vector<std::byte>& text);

private:
    enum class State { kText, kEscape, kWord, kParameter, kHighDigit, kLowDigit };

    void TakeText(char letter, std::vector<std::byte>& text);
    void TakeEscape(char letter, std::vector<std::byte>& text);
    void EndWord(char letter, std::vector<std::byte>& text);

    State state_ = State::kText;
    std::string word_;
    unsigned high_digit_ = 0;
};

}  // namespace reference_product
