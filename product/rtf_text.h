#pragma once

// The words of a Rich Text Format document, which its escapes would hide from a search.

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace reference_product {

// Extracts the text of one document, which arrives in pieces, without control words and groups. It
// also gives the texts of the document's tables (fonts, styles), which a search tolerates.
class RtfText {
public:
    // Appends the text of the next piece to `text`.
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
