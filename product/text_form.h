#pragma once

// New texts made from old ones by a form: "[checked] {subject}".

#include <span>
#include <string>
#include <string_view>

namespace reference_product {

// A decimal digit of ASCII, whatever the locale.
inline bool IsDigit(char letter) { return letter >= '0' && letter <= '9'; }

// A form: its first `placeholder` stands for the old text. A form without one is the new text
// itself. It views its arguments, which must outlive it.
template <class Char>
class TextForm {
public:
    using View = std::basic_string_view<Char>;

    TextForm(View form, View placeholder) {
        const auto at = form.find(placeholder);
        fixed_ = at == View::npos;
        before_ = form.substr(0, at);
        if (!fixed_) after_ = form.substr(at + placeholder.size());
    }

    // Gives the old text in a `text` that has the form; else `text` itself.
    View Peel(View text) const {
        const bool has_form = !fixed_ && text.size() >= before_.size() + after_.size() &&
                              text.starts_with(before_) && text.ends_with(after_);
        if (!has_form) return text;
        return text.substr(before_.size(), text.size() - before_.size() - after_.size());
    }

    // Gives the form with `text` in place of the placeholder.
    std::basic_string<Char> Fill(View text) const {
        std::basic_string<Char> filled(before_);
        if (!fixed_) filled.append(text).append(after_);
        return filled;
    }

private:
    View before_;
    View after_;
    bool fixed_ = false;
};

// Puts `text` into the forms, one after the other. What an earlier check put there comes off first:
// a message is checked each time it is read, and its texts must not grow.
template <class Char>
std::basic_string<Char> Refill(std::span<const std::basic_string<Char>> forms,
                               std::basic_string_view<Char> placeholder,
                               std::basic_string_view<Char> text) {
    for (auto form = forms.rbegin(); form != forms.rend(); ++form) {
        text = TextForm<Char>(*form, placeholder).Peel(text);
    }
    std::basic_string<Char> filled(text);
    for (const auto& form : forms) filled = TextForm<Char>(form, placeholder).Fill(filled);
    return filled;
}

}  // namespace reference_product
