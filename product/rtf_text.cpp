#include "product/rtf_text.h"

#include <cstdint>

#include "product/text_form.h"

namespace reference_product {
namespace {

// Control words are kept up to this length; the ones that matter are far shorter.
constexpr std::size_t kLongestWord = 32;

bool IsLetter(char letter) {
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
}

unsigned HexValue(char letter) {
    if (IsDigit(letter)) return static_cast<unsigned>(letter - '0');
    if (letter >= 'a' && letter <= 'f') return static_cast<unsigned>(letter - 'a' + 10);
    if (letter >= 'A' && letter <= 'F') return static_cast<unsigned>(letter - 'A' + 10);
    return 0;
}

void Append(std::vector<std::byte>& text, char letter) {
    text.push_back(static_cast<std::byte>(letter));
}

}  // namespace

void RtfText::Feed(std::span<const std::byte> piece, std::vector<std::byte>& text) {
    for (const std::byte raw : piece) {
        const char letter = static_cast<char>(raw);
        switch (state_) {
            case State::kText:
                TakeText(letter, text);
                break;
            case State::kEscape:
                TakeEscape(letter, text);
                break;
            case State::kWord:
                if (IsLetter(letter)) {
                    if (word_.size() < kLongestWord) word_ += letter;
                } else if (IsDigit(letter) || letter == '-') {
                    state_ = State::kParameter;
                } else {
                    EndWord(letter, text);
                }
                break;
            case State::kParameter:
                if (!IsDigit(letter)) EndWord(letter, text);
                break;
            case State::kHighDigit:
                high_digit_ = HexValue(letter);
                state_ = State::kLowDigit;
                break;
            case State::kLowDigit:
                text.push_back(static_cast<std::byte>(high_digit_ * 16 + HexValue(letter)));
                state_ = State::kText;
                break;
        }
    }
}

void RtfText::TakeText(char letter, std::vector<std::byte>& text) {
    if (letter == '\\') {
        state_ = State::kEscape;
    } else if (letter != '{' && letter != '}' && letter != '\r' && letter != '\n') {
        Append(text, letter);
    }
}

void RtfText::TakeEscape(char letter, std::vector<std::byte>& text) {
    state_ = State::kText;
    if (IsLetter(letter)) {
        word_.assign(1, letter);
        state_ = State::kWord;
    } else if (letter == '\'') {
        state_ = State::kHighDigit;
    } else if (letter == '\\' || letter == '{' || letter == '}') {
        Append(text, letter);
    } else if (letter == '~') {
        Append(text, ' ');
    }
}

void RtfText::EndWord(char letter, std::vector<std::byte>& text) {
    if (word_ == "par" || word_ == "line") Append(text, '\n');
    if (word_ == "tab") Append(text, '\t');
    state_ = State::kText;
    // A blank ends the word and belongs to it.
    if (letter != ' ') TakeText(letter, text);
}

}  // namespace reference_product
